#include <gtest/gtest.h>

#include <string>

#include "discovery/module_table.h"
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

// A module that sends `reply` as it stands, whatever it is asked.
ScriptedDevice::Script saying(const std::string& reply) {
    return [reply](const std::string&) { return ScriptedDevice::Reaction{reply}; };
}

}  // namespace

TEST(Value, IsCutOutOfTheFirstLineWithThePrefix) {
    const std::string longText(700, 'v');
    const struct {
        std::string reply;
        std::uint32_t afterSeparator;
        std::string value;
    } cases[] = {
        {"AT+X?\r\r\nP: a: 7\r\n\r\nOK\r\n", 1, " 7"},
        {"AT+X?\r\r\nP: 7\r\nP: 8\r\nOK\r\n", 1, " 7"},
        {"AT+X?\r\r\nP: 7\r\n\r\nOK\r\n", 0, "P: 7"},
        {"AT+X?\r\r\nP:\r\nOK\r\n", 1, ""},
        {"AT+X?\r\r\nP 7\r\nOK\r\n", 1, "P 7"},  // no separator: the whole line
        {"AT+X?\r\r\nnothing\r\nOK\r\n", 1, ""},
        {"P: early\rx\r\n", 1, " early"},
        {"\r\n", 1, ""},
        {"P:" + longText + "\r\n", 1, longText.substr(0, kValueSize - 1)},
    };
    for (const auto& example : cases) {
        Text value = "old";
        const OperationRun run = runOperation(0x8231, saying(example.reply), [&](const char* tty) {
            return GetWWanValue(tty, "AT+X?\r", "P", example.afterSeparator, ':', value);
        });
        EXPECT_EQ(run.result, 0);
        EXPECT_EQ(value, example.value);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.pauses, std::vector<std::uint32_t>{600});
    }
}

TEST(Status, DropsEchoAndEveryLineWithOK) {
    const struct {
        std::string reply;
        std::string status;
    } cases[] = {
        {"AT!STATUS\r\r\none\r\ntwo\r\n\r\nOK\r\n", "one\ntwo\r\n\r\n"},
        {"AT!STATUS\r\r\none\r\nLOOK\r\ntwo\r\nOK\r\n", "one\ntwo\r\n"},
        {"no line end but OK\r", ""},
        {"one OK\ntwo\n", "two\n"},
        {std::string(1000, 'x') + "\nOK\n", std::string(1000, 'x') + "\n"},
    };
    for (const auto& example : cases) {
        Text status = "old";
        const OperationRun run = runOperation(0x0019, saying(example.reply), [&](const char* tty) {
            return GetWWanStatus(tty, status);
        });
        EXPECT_EQ(run.result, 0);
        EXPECT_EQ(status, example.status);
    }
    Text status = "old";
    const OperationRun run = runOperation(
        0x8232, saying("ERROR\r\n"), [&](const char* tty) { return GetWWanStatus(tty, status); });
    EXPECT_EQ(run.result, 0);
    EXPECT_STREQ(status, "");
    EXPECT_EQ(run.output,
              "GetWWanStatus: error while issue command AT!GSTATUS?\r --- code= 0, msg= "
              "writeAndReadSerialPort: Comparison Failed - returned 'ERROR', expected 'OK'\n");
}

TEST(Identity, FollowsTheQueryTable) {
    const struct {
        std::int32_t (*operation)(const char*, char*);
        std::uint32_t productId;
        const char* answer;
        int result;
        const char* text;
        const char* wire;
        const char* output;
    } cases[] = {
        {GetFWRevision, 0x0019, "S/W VER: p2,59", 0, " p2,59", "AT!MDMVER?", ""},
        {GetFWRevision, 0x8222, "other", 0, "", "AT!MDMVER?", ""},
        {GetFWRevision, 0x8231, "!GVER: K2_0 more", 0, "K2_0", "AT!GVER?", ""},
        {GetFWRevision, 0x8232, "!GVER:   K2_0", 0, "K2_0", "AT!GVER?", ""},
        {GetFWRevision, 0x8232, "!GVER:", 0, "!GVER:", "AT!GVER?", ""},
        {GetFWRevision, 0x8232, " !GVER:", 0, " !GVER:", "AT!GVER?", ""},
        {GetFWRevision, 0x1234, "", 0, "?", "", ""},
        {GetHWRevision, 0x0019, "", 0, "NA", "", ""},
        {GetHWRevision, 0x8232, "^HVER: 1.4 B", 0, "1.4", "AT^HVER", ""},
        {GetHWRevision, 0x8231, "^HVER: 1.4", 0, "1.4", "AT^HVER", ""},
        {GetSKU, 0x8222, "", 9, "?", "", "GetSKU(): code= 9, msg= Module Not Supported\n"},
        {GetSKU, 0x8231, "PRI Part Number: 990 1042", 0, "1042", "AT!PRIID?", ""},
        {GetSKU, 0x1234, "", 0, "?", "", ""},
    };
    for (const auto& example : cases) {
        Text text = {};
        const OperationRun run =
            runOperation(example.productId, answering({{"AT", example.answer}}),
                         [&](const char* tty) { return example.operation(tty, text); });
        EXPECT_EQ(run.result, example.result);
        EXPECT_STREQ(text, example.text);
        EXPECT_EQ(run.wire, example.wire);
        EXPECT_EQ(run.output, example.output);
    }
}

TEST(Identity, TakesAnyZeroForAnAbsentSIM) {
    const struct {
        const char* field;
        std::uint32_t present;
    } cases[] = {{"255", 0}, {"1", 1}, {"10", 0}, {"0", 0}, {"", 1}, {"x2559", 0}};
    for (const auto& example : cases) {
        Text text = {};
        std::uint32_t present = 7;
        const OperationRun run = runOperation(
            0x8231, answering({{"AT", std::string("^SYSINFO:2,3,0,5,") + example.field}}),
            [&](const char* tty) { return GetSIMPresence(tty, text, &present); });
        EXPECT_EQ(present, example.present) << example.field;
        EXPECT_STREQ(text, example.field);
        EXPECT_EQ(run.wire, "AT^SYSINFO");
    }
}

TEST(Power, AnyLevelAboveZeroIsOn) {
    const struct {
        std::uint32_t productId;
        const char* answer;
        int result;
        std::uint32_t state;
    } cases[] = {{0x8231, "+CFUN: 4", 0, 1},  {0x8232, "+CFUN: 0", 0, 0},
                 {0x8232, "+CFUN: -1", 0, 0}, {0x8232, "nothing", 0, 0},
                 {0x0019, "", 9, 7},          {0x1234, "", 0, 7}};
    for (const auto& example : cases) {
        std::uint32_t state = 7;
        const OperationRun run =
            runOperation(example.productId, answering({{"AT", example.answer}}),
                         [&](const char* tty) { return GetPowerState(tty, &state); });
        EXPECT_EQ(run.result, example.result);
        EXPECT_EQ(state, example.state);
    }
}

TEST(Temperature, IsNotTakenFromAModuleThatSleepsOn) {
    Text text = {};
    const OperationRun run = runOperation(
        0x8222,
        answering({{"AT!STATUS", "one\r\ntwo\r\nPower: Sleep"}, {"AT!RXAGC?", "RX AGC = -90 dBm"}}),
        [&](const char* tty) { return GetHWTemperature(tty, text); });
    EXPECT_EQ(run.result, 6);
    EXPECT_STREQ(text, "?");
    EXPECT_EQ(run.wire,
              "AT!STATUS AT!OEM=176 AT!DIAG AT!RX=1 AT!CHAN=0,0 AT!CHAN? AT!RXAGC? AT!STATUS");
    EXPECT_EQ(run.output, "ERROR: GetHWTemperature() module still in SLEEP mode\n");
}

namespace {

const std::string kWrite = "AT+CPBW=1,\"123456789\",129,\"hello\"";
const std::string kRead = "AT+CPBR=1";
const std::string kClear = "AT+CPBW=1,\"\",129,\"\"";
const std::string kEntry = "+CPBR: 1,\"123456789\",129,\"hello\"";

}  // namespace

TEST(SIM, EachStepHasItsOwnRule) {
    const std::string through = "AT+CPIN? " + kWrite + " " + kRead + " " + kClear;
    const struct {
        std::vector<std::pair<std::string, std::string>> answers;
        int result;
        std::string wire;
        std::string output;
    } cases[] = {
        {{{kRead, kEntry}}, 0, through, ""},
        {{{"AT+CPIN?", "+CME ERROR: SIM busy"}},
         10,
         "AT+CPIN?",
         "RETURN = AT+CPIN?\r\r\n+CME ERROR: SIM busy\r\n\r\nOK\n"
         "ERROR: error reading SIM status\n"},
        {{{kRead, "+CPBR: 1,\"123456789\",145,\"hello\""}},
         11,
         "AT+CPIN? " + kWrite + " " + kRead,
         "RETURN = " + kRead +
             "\r\r\n+CPBR: 1,\"123456789\",145,\"hello\"\r\n\r\nOK\n"
             "ERROR: error reading from SIM phonebook\n"},
        {{{kRead, kEntry}, {kClear, "!"}},
         11,
         through,
         "RETURN = " + kClear + "\r\r\nERROR\nERROR: error writing to SIM phonebook\n"},
    };
    for (const auto& example : cases) {
        const OperationRun run =
            runOperation(0x8231, answering(example.answers), VerifySIMInterface);
        EXPECT_EQ(run.result, example.result);
        EXPECT_EQ(run.wire, example.wire);
        EXPECT_EQ(run.output, example.output);
    }
}
