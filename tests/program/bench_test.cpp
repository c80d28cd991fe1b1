// The RF bench: receive level, transmitter and signal generator, from the command line to the
// station's state.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/program/station_run.h"

namespace {

using Words = std::vector<std::string>;

const std::string kEnter = "AT!ENTERCND=\"K482\" AT!DAFTMACT";
const std::string kIdentified =
    "Device Identification = Tarnwick Instruments,SG-3000,100042,1.07\n";

std::string stateOf(const TestStation& station, const std::string& name, const std::string& key) {
    const std::string state = "\n" + station.read("state/" + name);
    const std::size_t start = state.find("\n" + key + "=");
    if (start == std::string::npos) return "";
    const std::size_t value = start + key.size() + 2;
    return state.substr(value, state.find('\n', value) - value);
}

std::string enabling(const std::string& megahertz, const std::string& level) {
    return "*RST :SYST:DISP:UPD ON SOUR:FREQ " + megahertz +
           "MHz SOUR:POWer:MODE FIX SOUR:POWer:LEVel " + level +
           " OUTPut1:STATe ON OUTPut1:STATe OFF :SYST:DISP:UPD OFF";
}

}  // namespace

// The reading is the generator's level less the path loss (30 dB, and 4 more to the second
// receiver), which it is only when both ends are tuned to the same channel.
TEST(Bench, TheLevelFollowsTheGenerator) {
    const struct {
        const char* module;
        const char* band;
        const char* channel;
        const char* megahertz;
        int code;  // 0: EVDO
    } tunings[] = {
        {"evdo", "0", "0", "870.000000", 0},      {"0x0019", "0", "1023", "870.000000", 0},
        {"evdo", "0", "991", "869.039978", 0},    {"evdo", "1", "0", "1929.949951", 0},
        {"evdo", "1", "1200", "1989.949951", 0},  {"hspa", "2", "128", "869.200012", 18},
        {"0x8231", "3", "124", "959.799988", 10}, {"hspa", "3", "1023", "934.799988", 10},
        {"hspa", "4", "885", "1879.799927", 11},  {"hspa", "5", "512", "1930.199951", 12},
        {"hspa", "6", "4233", "891.600037", 22},  {"0x8231", "7", "9262", "1932.400024", 16},
        {"hspa", "8", "9888", "2167.600098", 9},
    };
    for (const auto& tuning : tunings) {
        for (const int receiver : {1, 2}) {
            const int level = receiver == 1 ? -45 : -61;
            SCOPED_TRACE(std::string("band ") + tuning.band + " channel " + tuning.channel);
            TestStation station({"-m", tuning.module, "--driver-loaded"});
            const std::string number = std::to_string(receiver);
            const ToolRun run = station.tool(
                {"-s", number, tuning.band, tuning.channel, std::to_string(level), "1"});
            // A GSM receiver has one chain, whatever the operator asks for.
            const bool gsm = tuning.code == 18 || (tuning.code >= 10 && tuning.code <= 12);
            const int reading = level - 30 - (receiver == 2 && !gsm ? 4 : 0);
            EXPECT_EQ(run.status, 0);
            EXPECT_EQ(run.output,
                      (tuning.code == 0
                           ? ""
                           : "Issue \"AT!DASBAND=" + std::to_string(tuning.code) + "\r\"\n") +
                          number + "\t" + tuning.band + "\t" + tuning.channel + "\t" +
                          tuning.megahertz + "\t" + std::to_string(reading) + "\n");
            EXPECT_EQ(station.wire("generator"), enabling(tuning.megahertz, std::to_string(level)));
            EXPECT_EQ(stateOf(station, "generator", "output"), "off");
        }
    }
}

// Bands that the module does not have: what was sent before is sent again.
TEST(Bench, ABandOfTheOtherFamilyGivesNoReading) {
    const struct {
        const char* module;
        const char* band;
        const char* channel;
        std::string output;
        std::string wire;
    } cases[] = {
        {"hspa", "0", "991",
         "Issue \"AT!DAFTMACT\r\"\nERROR: GetWWanRSSI() unable to obtain rssi\n",
         kEnter + " AT!DAFTMACT AT!DASCHAN=991 AT!DASLNAGAIN=0"},
        {"evdo", "2", "128", "-108 dBm\n", "AT!OEM=176 AT!DIAG AT!RX=1 AT!RX=1 AT!CHAN? AT!RXAGC?"},
    };
    for (const auto& example : cases) {
        TestStation station({"-m", example.module});
        const ToolRun run = station.tool({"-r", "1", example.band, example.channel, "0"});
        EXPECT_EQ(run.status, example.output.find("ERROR") == std::string::npos ? 0 : 6);
        EXPECT_EQ(run.output, example.output);
        EXPECT_EQ(station.wire(), example.wire);
    }
}

TEST(Bench, TheTransmitterOfEveryBand) {
    const struct {
        const char* band;
        const char* channel;
        std::string setting;  // between "AT!DAFTMACT" and the end
        const char* state;
        const char* power;
    } bands[] = {
        {"0", "25", "AT!DAFTMACT AT!DASCHAN=25", "off", "none"},
        {"1", "25", "AT!DAFTMACT AT!DASCHAN=25", "off", "none"},
        {"2", "190", "AT!DASBAND=18 AT!DASCHAN=190 AT!DAGSTXFRAME=0,1,2000,0 AT!DASTXON", "on",
         "2000/100 dB"},
        {"3", "62", "AT!DASBAND=10 AT!DASCHAN=62 AT!DAGSTXFRAME=0,1,2000,0 AT!DASTXON", "on",
         "2000/100 dB"},
        {"4", "700", "AT!DASBAND=11 AT!DASCHAN=700 AT!DAGSTXFRAME=0,1,2000,0 AT!DASTXON", "on",
         "2000/100 dB"},
        {"5", "661", "AT!DASBAND=12 AT!DASCHAN=661 AT!DAGSTXFRAME=0,1,2000,0 AT!DASTXON", "on",
         "2000/100 dB"},
        {"6", "4182",
         "AT!DASBAND=22 AT!DASCHAN=4182 AT!DASTXON AT!DAWSTXCW=0 AT!DASPDM=2,20 AT!DAWSPARANGE=3",
         "on", "20 AGC"},
        {"7", "9400",
         "AT!DASBAND=16 AT!DASCHAN=9400 AT!DASTXON AT!DAWSTXCW=0 AT!DASPDM=2,20 AT!DAWSPARANGE=3",
         "on", "20 AGC"},
        {"8", "9750",
         "AT!DASBAND=9 AT!DASCHAN=9750 AT!DASTXON AT!DAWSTXCW=0 AT!DASPDM=2,20 AT!DAWSPARANGE=3",
         "on", "20 AGC"},
        {"9", "9750", "AT!DAFTMACT AT!DASCHAN=9750", "off", "none"},
    };
    for (const auto& band : bands) {
        SCOPED_TRACE(band.band);
        for (const char* module : {"0x8231", "0x8232", "0x0019", "0x8222"}) {
            const bool hspa = module[2] == '8' && module[4] == '3';
            TestStation on({"-m", module});
            ToolRun run = on.tool({"-b", band.band, band.channel, "20", "1"});
            EXPECT_EQ(run.status, 0);
            EXPECT_EQ(run.output,
                      hspa ? "" : "SetWWanTransmit: code= 9, msg= Module Not Supported\n");
            EXPECT_EQ(on.wire(), hspa ? kEnter + " " + band.setting : "");
            EXPECT_EQ(stateOf(on, "wwanCMD19", "transmitter"), hspa ? band.state : "off");
            EXPECT_EQ(stateOf(on, "wwanCMD19", "transmit-power"), hspa ? band.power : "none");
            EXPECT_EQ(stateOf(on, "wwanCMD19", "channel"), hspa ? band.channel : "0");
        }
    }
    for (const char* module : {"hspa", "evdo"}) {
        TestStation station({"-m", module});
        station.tool({"-b", "6", "4182", "20", "1"});
        const ToolRun run = station.tool({"-b", "6", "4182", "20", "0"});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.output, "");
        EXPECT_TRUE(station.wire().ends_with("AT!DASTXOFF"));
        EXPECT_EQ(stateOf(station, "wwanCMD19", "transmitter"), "off");
    }
}

// The driver and the adapter's node in all their states: what -c and -s print and return, what they
// send, and whether the driver is loaded afterwards.
TEST(Driver, InAllItsStates) {
    const std::string fails = "#!/bin/sh\necho no\nexit 1\n";
    const auto loading = [](const std::string& operation) {
        return operation +
               ": code= 8, msg= loadKext: Error (256) loading the kext "
               "(/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext), see '/tmp/kextload.log' for "
               "details\n";
    };
    const auto unloading = [](const std::string& operation) {
        return operation +
               ": code= 9, msg= unloadKext: Error (256) unloading the kext "
               "(/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext), see '/tmp/kextunload.log' for "
               "details\n";
    };
    const auto waiting = [](const std::string& operation) {
        return operation +
               ": code= 11, msg= verifyDeviceConnected: Timeout waiting for serial device "
               "'/dev/tty.KeySerial1'\n\n";
    };
    const auto rootOnly = [](const std::string& operation) {
        return operation + ": code= 7, msg= loadKext: Must be run as root\n\n";
    };
    const auto ended = [](const std::string& operation, int code) {
        return "ERROR: " + operation + "() returns error " + std::to_string(code) + "\n";
    };
    const std::string verify = "VerifySignalGeneratorConnection";
    const std::string enable = "EnableSignalGenerator";
    const std::string issue = "Issue \"AT!DASBAND=10\r\"\n";
    const std::string commanded = enabling("947.400024", "-50");
    const std::string enabled = commanded.substr(0, commanded.find(" OUTPut1:STATe OFF"));
    const Words check = {"-c"};
    const Words measure = {"-s", "1", "3", "62", "-50", "0"};
    const struct {
        Words options;
        const char* brokenTool;
        Words arguments;
        int status;
        std::string output;
        std::string wire;
        const char* loaded;
    } cases[] = {
        {{}, "", check, 0, kIdentified, "*RST *IDN?", "no"},
        {{"--driver-loaded"}, "", check, 0, kIdentified, "*RST *IDN?", "yes"},
        {{"--user-id", "501"}, "", check, 7, rootOnly(verify) + ended(verify, 7), "", "no"},
        {{"--user-id", "501", "--driver-loaded"}, "", check, 0, kIdentified, "*RST *IDN?", "yes"},
        {{"--no-generator"}, "", check, 11, waiting(verify) + ended(verify, 11), "", "no"},
        {{"--no-generator", "--driver-loaded"},
         "",
         check,
         11,
         waiting(verify) + ended(verify, 11),
         "",
         "no"},
        // Nobody but root unloads it, not even after a failure.
        {{"--no-generator", "--driver-loaded", "--user-id", "501"},
         "",
         check,
         11,
         waiting(verify) + ended(verify, 11),
         "",
         "yes"},
        {{}, "sbin/kextload", check, 8, loading(verify) + ended(verify, 8), "", "no"},
        {{},
         "sbin/kextunload",
         check,
         9,
         kIdentified + unloading(verify) + ended(verify, 9),
         "*RST *IDN?",
         "yes"},
        {{}, "usr/sbin/kextstat", check, 0, kIdentified, "*RST *IDN?", "yes"},

        {{}, "", measure, 0, issue + "-80 dBm\n", commanded, "no"},
        {{"--driver-loaded"}, "", measure, 0, issue + "-80 dBm\n", commanded, "yes"},
        {{"--user-id", "501"}, "", measure, 5, rootOnly(enable) + ended(enable, 5), "", "no"},
        {{"--no-generator"}, "", measure, 5, waiting(enable) + ended(enable, 5), "", "no"},
        {{}, "sbin/kextload", measure, 5, loading(enable) + ended(enable, 5), "", "no"},
        {{}, "sbin/kextunload", measure, 9, unloading(enable) + ended(enable, 9), enabled, "yes"},
        // A failed reading leaves the generator on.
        {{"-m", "hspa,fault=error@AT!DAGG"},
         "",
         measure,
         6,
         issue + "GetRSSI: error while issue command AT!DAGGAVGRSSI=62,0\r --- code= 0, msg= "
                 "writeAndReadSerialPort: Comparison Failed - returned "
                 "'AT!DAGGAVGRSSI=62,0\r\r\nERROR', expected 'OK'\n"
                 "ERROR: GetWWanRSSI() unable to obtain rssi\n",
         enabled,
         "no"},
    };
    for (const auto& example : cases) {
        std::string trace = example.brokenTool;
        for (const std::string& word : example.options) trace += " " + word;
        SCOPED_TRACE(trace + " " + example.arguments.front());
        TestStation station(example.options);
        if (*example.brokenTool != '\0') station.write(example.brokenTool, fails);
        const ToolRun run = station.tool(example.arguments);
        EXPECT_EQ(run.status, example.status);
        EXPECT_EQ(run.output, example.output);
        EXPECT_EQ(run.errors, "");
        EXPECT_EQ(station.wire("generator"), example.wire);
        EXPECT_EQ(stateOf(station, "driver", "loaded"), example.loaded);
    }
}

TEST(Driver, ToolsLogWhatTheySay) {
    TestStation station;
    station.write("sbin/kextload", "#!/bin/sh\necho \"tried $1\"\necho loudly >&2\nexit 2\n");
    station.tool({"-c"});
    station.tool({"-c"});
    const std::string once = "tried /Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext\nloudly\n";
    EXPECT_EQ(station.read("tmp/kextload.log"), once + once);
}

// Driver tools that fail in every way there is: the run goes on or ends as with a tool that is fine
// or one that fails, and no more than its own clean-up is done.
TEST(Driver, ToolsThatMisbehave) {
    const std::string noise = "head -c 100000 /dev/urandom; head -c 100000 /dev/urandom >&2\n";
    const struct {
        const char* tool;
        std::string script;  // "": the tool is missing
        int checked;         // exit status of -c
        int measured;        // and of -s
    } cases[] = {
        {"sbin/kextload", noise + "exit 1", 8, 5},
        {"sbin/kextload", "kill -9 $$", 8, 5},
        {"sbin/kextload", "", 8, 5},
        {"sbin/kextload", "sleep 0.05", 11, 5},  // says that it has, and has not
        {"sbin/kextunload", noise + "exit 1", 9, 9},
        {"sbin/kextunload", "kill -9 $$", 9, 9},
        {"sbin/kextunload", "", 9, 9},
        {"sbin/kextunload", "sleep 0.05", 0, 0},
        {"usr/sbin/kextstat", noise, 0, 0},
        {"usr/sbin/kextstat", "kill -9 $$", 0, 0},
        {"usr/sbin/kextstat", "", 0, 0},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(std::string(example.tool) + ": " + example.script);
        for (const bool measure : {false, true}) {
            TestStation station({"-m", "evdo"});
            station.write(example.tool, "#!/bin/sh\n" + example.script + "\n");
            if (example.script.empty()) unlink((station.root() + "/" + example.tool).c_str());
            const ToolRun run =
                station.tool(measure ? Words{"-s", "1", "1", "600", "-50", "0"} : Words{"-c"});
            EXPECT_EQ(run.status, measure ? example.measured : example.checked) << run.output;
            const bool completed = run.status == 0;
            EXPECT_EQ(run.output.ends_with(measure ? "-80 dBm\n" : kIdentified), completed)
                << run.output;
        }
    }
}
