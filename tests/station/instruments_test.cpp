#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "station/module.h"
#include "station/module_spec.h"
#include "station/radio.h"
#include "station/signal_generator.h"
#include "tests/support/case_text.h"

using namespace station;

namespace {

std::string answerOf(Instrument& instrument, const std::string& command) {
    std::string text;
    for (const Answer& answer : instrument.receive(command)) text += answer.bytes;
    return text;
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

// A receiver is wider than the step between channels: a level is read even if one is a step off.
TEST(Radio, EachRangeOfChannelsEndsWhereItsStandardSays) {
    const struct {
        int band, channel;
        double khz;
    } ends[] = {{0, 799, 893970},   {0, 1023, 870000},   {1, 1200, 1990000}, {18, 251, 893800},
                {10, 124, 959800},  {10, 1023, 934800},  {11, 885, 1879800}, {12, 810, 1989800},
                {22, 4233, 891600}, {16, 9538, 1987600}, {9, 9888, 2167600}};
    for (const auto& end : ends) EXPECT_EQ(channelOf(end.band, end.channel)->downlinkKhz, end.khz);
}

// Whole dialogues, which stand in dialogues.txt.
TEST(Instruments, AnswerAsWritten) {
    for (const Case& testCase : readCases(TARNWICK_DIALOGUES, {"@", ">", "<"})) {
        RfField field;
        std::unique_ptr<Instrument> instrument;
        std::string answer;
        std::string asked = testCase.place + ": " + testCase.title;
        for (const CaseLine& line : testCase.lines) {
            if (line.mark == "<") {
                EXPECT_EQ(answer, unescaped(line)) << asked;
                answer.clear();
                continue;
            }
            EXPECT_EQ(answer, "") << asked;
            asked = line.place + ": " + line.text;
            if (line.mark == ">") {
                answer = answerOf(*instrument, unescaped(line));
            } else if (line.text == "generator") {
                instrument = std::make_unique<SignalGenerator>(&field);
            } else {
                instrument = std::make_unique<Module>(parseModule(line.text).module, 0, field);
            }
        }
        EXPECT_EQ(answer, "") << asked;
    }
}

// A row of the command table that names a value which does not exist; another family's words.
TEST(Instruments, EachFamilySaysWhatItKnows) {
    const RfField field;
    const struct {
        const char *family, *unsolicited;
    } cases[] = {{"evdo", "\r\n^HRSSILVL: 60\r\n"}, {"hspa", "\r\n^RSSI: 18\r\n"}};
    for (const auto& [family, unsolicited] : cases) {
        const Module module(parseModule(family).module, 0, field);
        for (const std::string& answer : module.everyAnswer()) {
            EXPECT_EQ(answer.find_first_of("{}"), std::string::npos) << family << ": " << answer;
        }
        EXPECT_EQ(module.unsolicited(), unsolicited);
        EXPECT_EQ(module.state().find_first_of("{}"), std::string::npos) << module.state();
    }
}
