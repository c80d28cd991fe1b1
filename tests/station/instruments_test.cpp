#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>

#include "station/module.h"
#include "station/module_spec.h"
#include "station/radio.h"
#include "station/signal_generator.h"

using namespace station;

namespace {

std::string answerOf(Instrument& instrument, const std::string& command) {
    std::string text;
    for (const Answer& answer : instrument.receive(command)) text += answer.bytes;
    return text;
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char byte : text) {
        result += byte == '\r' ? "\\r" : byte == '\n' ? "\\n" : std::string(1, byte);
    }
    return result;
}

}  // namespace

TEST(Radio, ALevelReachesOnlyATunedReceiver) {
    const Channel gsm = *channelOf(18, 190);
    const struct {
        bool output;
        double frequencyHz, levelDbm;
        int receiver, reading;
    } cases[] = {{true, 881.6e6, -50, 1, -80},   {true, 881.6e6, -50, 2, -84},
                 {true, 881.69e6, -50, 1, -80},  {true, 881.71e6, -50, 1, -113},
                 {false, 881.6e6, -50, 1, -113}, {true, 881.6e6, -130, 1, -113},
                 {true, 881.6e6, 25, 1, -20}};
    for (const auto& testCase : cases) {
        const RfField field{testCase.output, testCase.frequencyHz, testCase.levelDbm};
        EXPECT_EQ(receivedLevel(field, gsm, testCase.receiver, 0), testCase.reading);
    }
}

// Whole dialogues, which stand in dialogues.txt.
TEST(Instruments, AnswerAsWritten) {
    std::ifstream file(TARNWICK_DIALOGUES);
    RfField field;
    std::unique_ptr<Instrument> instrument;
    std::string asked;
    std::string answer;
    int dialogues = 0;
    for (std::string line; std::getline(file, line);) {
        const std::string text = line.substr(std::min(line.find(' ') + 1, line.size()));
        if (line.starts_with('<')) {
            EXPECT_EQ(escaped(answer), text) << asked;
            answer.clear();
        } else if (line.starts_with('>')) {
            EXPECT_EQ(answer, "") << asked;
            asked = text;
            answer = answerOf(*instrument, text);
        } else if (line == "@ generator") {
            instrument = std::make_unique<SignalGenerator>(&field);
        } else if (line.starts_with('@')) {
            instrument = std::make_unique<Module>(parseModule(text).module, 0, field);
            ++dialogues;
        }
    }
    EXPECT_EQ(answer, "") << asked;
    EXPECT_GT(dialogues, 5);
}
