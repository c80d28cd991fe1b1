// Every option of the built tool at a built station: output, exit status, wire and state, whole.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/program/station_run.h"

namespace {

using Words = std::vector<std::string>;

const std::string kHspaStatus =
    "Mode: ONLINE\r\nTemperature: 41\r\nSystem mode: WCDMA\r\nGMM state: REGISTERED\r\n\r\n\n";
const std::string kVersion = "29.0, Tarnwick WWAN diagnostic and factory-test tool\n";
const std::string kWake =
    "AT!STATUS AT!OEM=176 AT!DIAG AT!RX=1 AT!CHAN=0,0 AT!CHAN? AT!RXAGC? AT!STATUS";
const std::string kWrite = "AT+CPBW=1,\"123456789\",129,\"hello\"";
const std::string kClear = "AT+CPBW=1,\"\",129,\"\"";

struct Case {
    Words modules;
    Words arguments;
    int status;
    std::string output;
    std::string first;        // what went to the first module
    std::string second = {};  // and to the second
};

void check(const Case& example) {
    std::string trace;
    Words options;
    for (const std::string& module : example.modules) {
        options.insert(options.end(), {"--module", module});
        trace += module + " ";
    }
    for (const std::string& word : example.arguments) trace += " " + word;
    SCOPED_TRACE(trace);
    TestStation station(options);
    const ToolRun run = station.tool(example.arguments);
    EXPECT_EQ(run.status, example.status);
    EXPECT_EQ(run.output, example.output);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(station.wire("wwanCMD19"), example.first);
    EXPECT_EQ(station.wire("wwanCMD29"), example.second);
}

std::string unsupported(const std::string& call) {
    return call + ": code= 9, msg= Module Not Supported\n";
}

}  // namespace

TEST(Options, OnBothFamilies) {
    const Words one = {"hspa"};
    const Words evdo = {"0x0019"};
    const Words both = {"0x8231", "evdo"};
    const Case cases[] = {
        {both, {"-e"}, 0, "012345006780006\n809A1B21\n", "AT+CGSN", "AT+GSN"},
        {both,
         {"-i"},
         0,
         "FW = K2_0_7_19AP\nHW = 1.4\nSIM PRESENT = 1,1\nSIM TYPE = 2\nSTATUS = !GSTATUS:\n" +
             kHspaStatus +
             "FW =  p2813300,59370\nHW = NA\nPRLVER = 60683\nSTATUS = Band: 0\nChannel: 0\r\n"
             "Power mode: Awake\r\nTemperature: 41 C\r\nSystem: Idle\r\n\r\n\n",
         "AT!GVER? AT^HVER AT^SYSINFO AT^CARDMODE AT!GSTATUS?",
         "AT!MDMVER? AT!PRLVER? AT!STATUS"},
        {both,
         {"-k"},
         6,
         "9901042\n" + unsupported("GetSKU()") + "ERROR: GetSKU() returns error 9\n",
         "AT!PRIID?"},
        {both, {"-m"}, 0, "TRUE\nFALSE\n", "AT^SYSINFO"},
        {both, {"-n"}, 0, "K2_0_7_19AP\n p2813300,59370\n", "AT!GVER?", "AT!MDMVER?"},
        {both, {"-t"}, 0, "41\t43\n41\n", "AT!DTEMP? 0 AT!DTEMP? 1", "AT!STATUS"},
        {both,
         {"-w"},
         6,
         "ON\n" + unsupported("GetPowerState()") + "ERROR: GetPowerState() returns error 9\n",
         "AT+CFUN?"},
        {both, {"-p"}, 0, unsupported("SetPowerState"), "AT+CFUN=1"},
        {both, {"-f"}, 0, unsupported("SetPowerState"), "AT+CFUN=0"},
        {both,
         {"-a"},
         0,
         "PASS\n" + unsupported("VerifySIMInterface") + "FAIL\n",
         "AT+CPIN? " + kWrite + " AT+CPBR=1 " + kClear},
        {{"hspa", "hspa"}, {"-w"}, 0, "ON\nON\n", "AT+CFUN?", "AT+CFUN?"},
        {{"evdo", "hspa"},
         {"-w"},
         6,
         unsupported("GetPowerState()") + "ERROR: GetPowerState() returns error 9\n",
         ""},
        {{"hspa,temp=-3/7"}, {"-t"}, 0, "-3\t7\n", "AT!DTEMP? 0 AT!DTEMP? 1"},
        {{"hspa,temp=38"}, {"-t"}, 0, "38\t38\n", "AT!DTEMP? 0 AT!DTEMP? 1"},

        // One tty, whole or in part; a part of the name is no way to open it.
        {both, {"-e", "/dev/cu.wwanCMD29"}, 0, "809A1B21\n", "", "AT+GSN"},
        {both,
         {"-e", "CMD29"},
         6,
         "GetWWanValue: code= 1, msg= OpenSerialPort: Error opening serial port CMD29\n\n"
         "ERROR: GetWWanValue() returns error 1\n",
         ""},
        {one,
         {"-m", "CMD19"},
         6,
         "GetWWanValue: code= 1, msg= OpenSerialPort: Error opening serial port CMD19\n\n"
         "ERROR: GetWWanValue() returns error 1\nERROR: GetSIMPresence() returns error 6\n",
         ""},
        {one, {"-m", "-x"}, 7, "ERROR: Unable to find matching productID for -x\n", ""},
        {one,
         {"-m", "/dev/cu.wwanCNTL19-and-more"},
         7,
         "ERROR: Unable to find matching productID for /dev/cu.wwanCNTL19-\n",
         ""},
        {one,
         {"-b", "9", "x", "y", "1", "CMD19"},
         1,
         "SetWWanTransmit: code= 1, msg= OpenSerialPort: Error opening serial port CMD19\n\n"
         "ERROR: GetWWanBSDPath() returns error 1\n",
         ""},
        {one,
         {"-r", "1", "3", "62", "0", "CMD19"},
         6,
         "GetRSSI: code= 1, msg= OpenSerialPort: Error opening serial port CMD19\n\n"
         "ERROR: GetWWanRSSI() unable to obtain rssi\n",
         ""},
        {one, {"-w", "nobody"}, 7, "ERROR: Unable to find matching productID for nobody\n", ""},
        {{"hspa", "0x1234", "hspa"},
         {"-n"},
         8,
         "K2_0_7_19AP\nERROR: Unknown WWAN module found",
         "AT!GVER?"},
        // No module prints a piece of its neighbour's answer.
        {{"hspa", "hspa,fault=error"}, {"-n"}, 0, "K2_0_7_19AP\n\n", "AT!GVER?", "AT!GVER?"},
        {{"hspa", "hspa", "hspa", "hspa", "hspa"},
         {"-e"},
         9,
         "WARNING: More than 4 WWAN module(s) found.\n"
         "WARNING: Tarnwick only supports 4 device at a time.\n",
         ""},

        // Asleep, busy, and every state of the SIM.
        {{"evdo,asleep=yes"}, {"-t"}, 0, "41\n", kWake},
        {{"evdo,asleep=yes"},
         {"-i"},
         0,
         "FW =  p2813300,59370\nHW = NA\nPRLVER = 60683\nSTATUS = Band: none\n"
         "Channel: none\r\nPower mode: Sleep\r\n\r\n\n",
         "AT!MDMVER? AT!PRLVER? AT!STATUS"},
        {{"hspa,busy=2"},
         {"-a"},
         0,
         "PASS\n",
         "AT+CPIN? AT+CPIN? AT+CPIN? " + kWrite + " AT+CPBR=1 " + kClear},
        {{"hspa,sim=pin,busy=1"},
         {"-a"},
         0,
         "RETURN = " + kWrite +
             "\r\r\n+CME ERROR: 11\n"
             "ERROR: error writing to SIM phonebook\nFAIL\n",
         "AT+CPIN? AT+CPIN? " + kWrite},
        {{"hspa,sim=absent"},
         {"-a"},
         0,
         "RETURN = AT+CPIN?\r\r\n+CME ERROR: 10\nERROR: error reading SIM status\nFAIL\n",
         "AT+CPIN?"},
        {{"hspa,sim=error"},
         {"-a"},
         0,
         "RETURN = AT+CPIN?\r\r\n+CME ERROR: 13\nERROR: error reading SIM status\nFAIL\n",
         "AT+CPIN?"},
        {{"hspa,sim=absent"}, {"-m"}, 0, "FALSE\n", "AT^SYSINFO"},
        {{"hspa,sim=error"}, {"-m"}, 0, "FALSE\n", "AT^SYSINFO"},
        {{"hspa,sim=pin"}, {"-m"}, 0, "TRUE\n", "AT^SYSINFO"},
        {{"hspa,sim=absent"},
         {"-i"},
         0,
         "FW = K2_0_7_19AP\nHW = 1.4\nSIM PRESENT = 0,255\nSIM TYPE = 2\nSTATUS = !GSTATUS:\n" +
             kHspaStatus,
         "AT!GVER? AT^HVER AT^SYSINFO AT^CARDMODE AT!GSTATUS?"},
        {{"hspa,phonebook=stuck"},
         {"-a"},
         0,
         "RETURN = AT+CPBR=1\r\r\nOK\nERROR: error reading from SIM phonebook\nFAIL\n",
         "AT+CPIN? " + kWrite + " AT+CPBR=1"},

        // The operands, counted and read at fixed places.
        {one,
         {"-r", "0", "9", "1", "0"},
         1,
         "VerifyArguments: Invalid input for receiver (0)\n"
         "VerifyArguments: Invalid input for band (9)\n"
         "VerifyArguments() returns error 1\n",
         ""},
        {one,
         {"-s", "1", "2", "-128", "x", "0"},
         1,
         "VerifyArguments: Invalid input for channel (-128) for band 2\n"
         "VerifyArguments() returns error 1\n",
         ""},
        {one, {"foo", "-w"}, 0, "", ""},
        {one, {"-v", "too", "many", "words"}, 0, kVersion, ""},
    };
    for (const Case& example : cases) check(example);
}

TEST(Options, ComplainAsGetoptDoes) {
    TestStation station;
    std::ostringstream file;
    file << std::ifstream(TARNWICK_HELP_FILE).rdbuf();
    const std::string usage = file.str();
    const struct {
        Words arguments;
        int status;
        std::string output;
        std::string errors;
    } cases[] = {
        {{"-h"}, 0, usage, ""},
        {{}, 2, usage, ""},
        {{"-w", "/dev/cu.wwanCMD19", "more"}, 2, "Incorrect Usage!\n\n" + usage, ""},
        {{"-b"}, 2, "Incorrect Usage!\n\n" + usage, ""},
        {{"-r", "1", "2", "128"}, 2, "Incorrect Usage!\n\n" + usage, ""},
        {{"-b", "1", "2", "3", "4", "5", "6"}, 2, "Incorrect Usage!\n\n" + usage, ""},
        {{"-s", "1", "2", "128", "-50"}, 2, "Incorrect Usage!\n\n" + usage, ""},
        {{"-x"}, 0, "", ": invalid option -- 'x'\n"},
        {{"-r"}, 0, "", ": option requires an argument -- 'r'\n"},
        {{"-qv"}, 0, kVersion, ": invalid option -- 'q'\n"},
        {{"-x", "-v"}, 0, kVersion, ": invalid option -- 'x'\n"},
        {{"-d"}, 0, "", ": invalid option -- 'd'\n"},
        {{"-s"}, 0, "", ": option requires an argument -- 's'\n"},
        {{"-"}, 0, "", ""},
        {{"--", "-v"}, 0, "", ""},
        {{"-x", "word", "-v"}, 0, "", ": invalid option -- 'x'\n"},
    };
    for (const auto& example : cases) {
        const ToolRun run = station.tool(example.arguments);
        EXPECT_EQ(run.status, example.status);
        EXPECT_EQ(run.output, example.output);
        EXPECT_TRUE(run.errors.ends_with(example.errors)) << run.errors;
        EXPECT_EQ(run.errors.empty(), example.errors.empty()) << run.errors;
    }
    EXPECT_EQ(station.wire(), "");
}

TEST(Options, FindNoModuleWithoutAStation) {
    const std::string gone = "/nowhere/at/all";
    ToolRun run = runProgram({toolPath(), "-v"}, {"TARNWICK_STATION=" + gone});
    EXPECT_EQ(run.status, 3);
    EXPECT_NE(run.errors.find(gone), std::string::npos) << run.errors;
    // Whatever the letter: modules are looked for first.
    for (const char* option : {"-v", "-h", "-c", "-x", "-w"}) {
        run = runProgram({"env", "-u", "TARNWICK_STATION", toolPath(), option});
        EXPECT_EQ(run.status, 7);
        EXPECT_EQ(run.output, "WARNING: WWAN module not found\n");
    }
}

// The radio, the phonebook and the transmitter, as the next run finds them.
TEST(State, LastsFromRunToRun) {
    TestStation station;
    EXPECT_EQ(station.tool({"-w"}).output, "ON\n");
    EXPECT_EQ(station.tool({"-f"}).output, "");
    EXPECT_EQ(station.tool({"-w"}).output, "OFF\n");
    EXPECT_EQ(station.tool({"-p"}).output, "");
    EXPECT_EQ(station.tool({"-w"}).output, "ON\n");
    EXPECT_EQ(station.tool({"-a"}).output, "PASS\n");
    EXPECT_EQ(station.wire(), "AT+CFUN? AT+CFUN=0 AT+CFUN? AT+CFUN=1 AT+CFUN? AT+CPIN? " + kWrite +
                                  " AT+CPBR=1 " + kClear);
    EXPECT_NE(station.read("state/wwanCMD19").find("phonebook.1=,\n"), std::string::npos);
}

// What is left on the SIM: nothing, or the test entry when it could not be read back.
TEST(State, OfThePhonebookAfterAFailure) {
    const struct {
        const char* fault;
        const char* entry;
    } cases[] = {{"error@AT+CPBW", "phonebook.1=,\n"},
                 {"error@AT+CPBR", "phonebook.1=123456789,hello\n"},
                 {"hangup@AT+CPBW=1,\"\"", "phonebook.1=123456789,hello\n"}};
    for (const auto& example : cases) {
        TestStation station({"-m", std::string("hspa,fault=") + example.fault});
        station.tool({"-a"});
        station.stop();
        EXPECT_NE(station.read("state/wwanCMD19").find(example.entry), std::string::npos)
            << example.fault << "\n"
            << station.read("state/wwanCMD19");
    }
}
