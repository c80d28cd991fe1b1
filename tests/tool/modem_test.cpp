#include <gtest/gtest.h>
#include <termios.h>

#include <string>

#include "discovery/module_family.h"
#include "modem/identity.h"
#include "modem/power.h"
#include "modem/query.h"
#include "modem/sim_interface.h"
#include "modem/thermistor.h"
#include "serial/module_session.h"
#include "tests/support/fake_host.h"
#include "tests/support/operation_run.h"

namespace {

using Text = char[kReplySize];
using TextOperation = std::int32_t (*)(const char* tty, char* text);

std::int32_t getLine(const char* tty, char* text) {
    return GetWWanValue(tty, "AT+X?\r", "P", 0, ':', text);
}

std::int32_t getValue(const char* tty, char* text) {
    return GetWWanValue(tty, "AT+X?\r", "P", 1, ':', text);
}

}  // namespace

// Replies that no module of a station sends, as they stand on the wire, and what is taken of each.
TEST(Text, IsTakenFromOddReplies) {
    const std::string longText(700, 'v');
    const std::string longLine = std::string(1000, 'x') + "\n";
    const struct {
        TextOperation operation;
        std::uint32_t productId;
        std::string reply;
        std::string text;
    } cases[] = {
        {getLine, 0x8231, "AT+X?\r\r\nP: 7\r\n\r\nOK\r\n", "P: 7"},
        {getValue, 0x8231, "AT+X?\r\r\nP: a: 7\r\n\r\nOK\r\n", " 7"},
        {getValue, 0x8231, "AT+X?\r\r\nP: 7\r\nP: 8\r\nOK\r\n", " 7"},
        {getValue, 0x8231, "AT+X?\r\r\nP:\r\nOK\r\n", ""},
        {getValue, 0x8231, "AT+X?\r\r\nP 7\r\nOK\r\n", "P 7"},  // no separator: the whole line
        {getValue, 0x8231, "AT+X?\r\r\nnothing\r\nOK\r\n", ""},
        {getValue, 0x8231, "P: early\rx\r\n", " early"},
        {getValue, 0x8231, "\r\n", ""},
        {getValue, 0x8231, "P:" + longText + "\r\n", longText.substr(0, kValueSize - 1)},
        {GetWWanStatus, 0x0019, "AT!STATUS\r\r\none\r\nLOOK\r\ntwo\r\nOK\r\n", "one\ntwo\r\n"},
        {GetWWanStatus, 0x0019, "no line end but OK\r", ""},
        {GetWWanStatus, 0x0019, "one OK\ntwo\n", "two\n"},
        {GetWWanStatus, 0x0019, longLine + "OK\n", longLine},
        {GetFWRevision, 0x8231, "!GVER: K2_0 more\r\n", "K2_0"},
        {GetFWRevision, 0x8232, "!GVER:   K2_0\r\n", "K2_0"},
        {GetFWRevision, 0x8232, "!GVER:\r\n", "!GVER:"},
        {GetFWRevision, 0x8232, "\n !GVER:\r\n", " !GVER:"},
        {GetHWRevision, 0x8232, "^HVER: 1.4 B\r\n", "1.4"},
        {GetSKU, 0x8231, "PRI Part Number: 990 1042\r\n", "1042"},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.reply);
        Text text = "old";
        const OperationRun run = runOperation(
            testCase.productId, [&](const std::string&) { return testCase.reply; },
            [&](const char* tty) { return testCase.operation(tty, text); });
        EXPECT_EQ(run.result, 0);
        EXPECT_EQ(text, testCase.text);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.pauses, std::vector<std::uint32_t>{600});
    }
}

TEST(Text, IsAQuestionMarkForAnUnknownModule) {
    for (const TextOperation operation : {GetFWRevision, GetHWRevision, GetSKU, GetHWTemperature}) {
        Text text = {};
        const OperationRun run = runOperation(
            0x1234, answering({}), [&](const char* tty) { return operation(tty, text); });
        EXPECT_EQ(run.result, 0);
        EXPECT_STREQ(text, "?");
        EXPECT_EQ(run.wire + run.output, "");
    }
}

// Any zero stands for an absent SIM, any level above zero for a radio that is on.
TEST(Number, IsTakenAsStationsKnowIt) {
    const auto presence = [](const char* tty, std::uint32_t* present) {
        Text text = {};
        return GetSIMPresence(tty, text, present);
    };
    const struct {
        std::int32_t (*operation)(const char* tty, std::uint32_t* number);
        std::uint32_t productId;
        const char* answer;
        std::uint32_t number;
    } cases[] = {
        {presence, 0x8231, "^SYSINFO:2,3,0,5,10", 0},    {presence, 0x8231, "^SYSINFO:2,3,0,5,", 1},
        {presence, 0x8231, "^SYSINFO:2,3,0,5,x2559", 0}, {GetPowerState, 0x8231, "+CFUN: 4", 1},
        {GetPowerState, 0x8232, "+CFUN: -1", 0},         {GetPowerState, 0x1234, "", 7},
    };
    for (const auto& testCase : cases) {
        std::uint32_t number = 7;
        const OperationRun run =
            runOperation(testCase.productId, answering({{"AT", testCase.answer}}),
                         [&](const char* tty) { return testCase.operation(tty, &number); });
        EXPECT_EQ(run.result, 0);
        EXPECT_EQ(number, testCase.number) << testCase.answer;
    }
}

TEST(Power, IsSwitchedOnByAnyStateButZero) {
    const OperationRun run =
        runOperation(0x8231, answering({}), [](const char* tty) { return SetPowerState(tty, 7); });
    EXPECT_EQ(run.wire, "AT+CFUN=1");
}

// The report of a second try would be a second failure to a script.
TEST(Session, ReportsAFailedCloseOnce) {
    Text text = {};
    termios settings = {};
    const OperationRun run = runOperation(0x8231, answering({}), [&](const char* tty) {
        gHost.atPause = [&] {
            tcgetattr(gHost.opened.back(), &settings);
            breakLine("P: 7\r\n");
        };
        return getValue(tty, text);
    });
    EXPECT_EQ(settings.c_cc[VTIME], 1) << "not the module's profile";
    EXPECT_EQ(run.result, 2);
    EXPECT_STREQ(text, " 7");
    EXPECT_EQ(run.output,
              "GetWWanValue: code= 2, msg= CloseSerialPort: Error resetting tty attributes\n");
}

TEST(Temperature, IsNotTakenFromAModuleThatSleepsOn) {
    Text text = {};
    const OperationRun run = runOperation(
        0x8222,
        answering({{"AT!STATUS", "one\r\ntwo\r\nPower: Sleep"}, {"AT!RXAGC?", "RX AGC = -90 dBm"}}),
        [&](const char* tty) { return GetHWTemperature(tty, text); });
    EXPECT_EQ(run.result, 6);
    EXPECT_STREQ(text, "?");
    EXPECT_EQ(run.output, "ERROR: GetHWTemperature() module still in SLEEP mode\n");
}

TEST(SIM, OfAnotherNumberTypeOrBusyWithAnErrorFails) {
    const std::string entry = "+CPBR: 1,\"123456789\",145,\"hello\"";
    const struct {
        std::vector<std::pair<std::string, std::string>> answers;
        int result;
        std::string output;
    } cases[] = {
        {{{"AT+CPIN?", "+CME ERROR: SIM busy"}},
         10,
         "RETURN = AT+CPIN?\r\r\n+CME ERROR: SIM busy\r\n\r\nOK\n"
         "ERROR: error reading SIM status\n"},
        {{{"AT+CPBR=1", entry}},
         11,
         "RETURN = AT+CPBR=1\r\r\n" + entry +
             "\r\n\r\nOK\nERROR: error reading from SIM phonebook\n"},
    };
    for (const auto& testCase : cases) {
        const OperationRun run =
            runOperation(0x8231, answering(testCase.answers), VerifySIMInterface);
        EXPECT_EQ(run.result, testCase.result);
        EXPECT_EQ(run.output, testCase.output);
    }
}
