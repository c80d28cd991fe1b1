// Transcripts read back, and instruments that are made of nothing else.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "station/replay.h"
#include "station/transcript.h"

using namespace station;
using std::chrono::milliseconds;

namespace {

class Replays : public testing::Test {
  protected:
    ~Replays() override { std::filesystem::remove(path_); }

    // What a replay of the content is refused for; else its answers to the commands, each piece led
    // by its delay.
    std::string replayed(const std::string& content, const std::vector<std::string>& commands) {
        std::ofstream(path_, std::ios::binary) << content;
        std::string text;
        try {
            Replay replay(path_, "m");
            replay.note = [&](std::string_view note) { text += std::string(note) + "|"; };
            for (const std::string& command : commands) {
                for (const Answer& answer : replay.receive(command)) {
                    text += std::to_string(answer.delay.count()) + " " + answer.bytes +
                            (answer.hangUp ? "hang up|" : "|");
                }
                text += ";";
            }
        } catch (const std::invalid_argument& error) {
            text = error.what();
            const std::size_t at = text.find(path_);
            text.erase(at, at == std::string::npos ? 0 : path_.size());
        }
        return text;
    }

    std::string path_ = testing::TempDir() + "replay-" + std::to_string(getpid());
};

}  // namespace

TEST(Transcript, GivesEveryByteBack) {
    Record record{milliseconds(999999999999), "m", '<', ""};
    for (int byte = 0; byte < 256; ++byte) record.text += static_cast<char>(byte);
    const Record back = parseRecord(printRecord(record));
    EXPECT_EQ(back.time, record.time);
    EXPECT_EQ(back.name + back.mark + back.text, "m<" + record.text);
    EXPECT_EQ(printRecord({milliseconds(1002), "m", '>', "\\x\r\n\x7f"}),
              "1.002 m > \\\\x\\r\\n\\x7F");
}

TEST_F(Replays, AnswerInTheRecordingsOrderPiecesAndTime) {
    const std::string recording =
        "0.000 m < before\n0.100 m > A\n0.110 m < one\n0.120 n < other\n0.150 m < two\n"
        "0.160 m ! error queue\n0.200 m > A\n0.300 m < three\n0.400 m > B\n0.450 m < four\n"
        "0.500 m ! hang up\n0.600 m < after\n0.700 m > C\n1.000 m ! close\n1.100 m < after\n"
        "2.000 m > D\n1.000 m < earlier\n9999.000 m < later\n";
    const struct {
        const char *command, *answer;
    } cases[] = {{"A", "10 one|40 two|"},
                 {"B", "50 four|50 hang up|"},
                 {"A", "100 three|"},
                 {"A", "100 three|"},
                 {"C", ""},
                 {"D", "0 earlier|3600000 later|"},
                 {"a", "never recorded|0 a\r\r\nERROR\r\n|"}};
    std::vector<std::string> commands;
    std::string answers;
    for (const auto& testCase : cases) {
        commands.emplace_back(testCase.command);
        answers += std::string(testCase.answer) + ";";
    }
    EXPECT_EQ(replayed(recording, commands), answers);
}

TEST_F(Replays, RefuseWithASentence) {
    const struct {
        const char *content, *refusal;
    } cases[] = {
        {"", "transcript : no command to m"},
        {"0.000 m < a\n0.000 n > a\n0.000 o > a\n", "transcript : no command to m, only to n, o"},
        {"0.000 m > a\n0.001 m <", "transcript , line 2: it is cut off"},
        {"0.000 m > a\r\n", "transcript , line 1: it has bytes that are not printable ASCII"},
        {"\n", "transcript , line 1: it does not begin with a time in seconds, as 12.345 is"},
        {"1.0000 m > a\n",
         "transcript , line 1: it does not begin with a time in seconds, as 12.345 is"},
        {"0.000\n", "transcript , line 1: there is no name behind the time"},
        {"0.000 m ? a\n", "transcript , line 1: there is no mark, one of < > !, behind the name"},
        {"0.000 m > a\\", "transcript , line 1: it is cut off"},
        {"0.000 m > \\\n", "transcript , line 1: an unknown escape: '\\'"},
        {"0.000 m > \\x1g\n", "transcript , line 1: an unknown escape: '\\x'"},
    };
    for (const auto& testCase : cases) EXPECT_EQ(replayed(testCase.content, {}), testCase.refusal);
    std::filesystem::resize_file(path_, std::uintmax_t{100} << 20);
    EXPECT_THROW(Replay(path_, "m"), std::invalid_argument);
}
