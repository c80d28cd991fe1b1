#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "cli/dispatcher.h"
#include "discovery/module_table.h"
#include "platform/simulated/simulated_registry.h"
#include "tests/support/fake_host.h"
#include "tests/support/operation_run.h"

namespace {

struct FrontEndRun {
    int status = -1;
    std::string output;
};

void addModule(const char* path, std::int32_t productId) {
    const auto port = simulated::AddEntry(registry::kServicePlane, simulated::kRoot,
                                          {"IOSerialBSDClient", "IOSerialBSDClient"});
    simulated::SetProperty(port, "IOCalloutDevice", property::CreateString(path, property::kUtf8));
    const auto support = simulated::AddEntry(registry::kServicePlane, simulated::kRoot,
                                             {"Support", "OrvelWWANSupport"});
    simulated::SetProperty(support, "idProduct",
                           property::CreateNumber(property::kInt32, &productId));
}

FrontEndRun runTool(const std::vector<std::string>& words) {
    std::vector<std::string> copies = words;
    copies.insert(copies.begin(), "Tarnwick");
    std::vector<char*> argv;
    for (std::string& word : copies) argv.push_back(word.data());
    argv.push_back(nullptr);
    optind = 0;  // getopt starts anew
    opterr = 0;
    gCardModel = 0;
    FrontEndRun run;
    run.output =
        printed([&] { run.status = RunTarnwick(static_cast<int>(argv.size()) - 1, argv.data()); });
    return run;
}

std::string usage() {
    return runTool({"-h"}).output;
}

}  // namespace

TEST(FrontEnd, ReadsOptionsAsTheMacDoes) {
    gHost = {};
    simulated::ClearRegistry();
    addModule("/dev/cu.wwanCMD19", 0x0019);
    const std::string wrong = "Incorrect Usage!\n\n" + usage();
    const struct {
        std::vector<std::string> words;
        int status;
        std::string output;
    } cases[] = {
        {{}, 2, usage()},
        {{"foo"}, 0, ""},
        {{"foo", "-m"}, 0, ""},
        {{"--", "-m"}, 0, ""},
        {{"-"}, 0, ""},
        {{"-x"}, 0, ""},
        {{"-d"}, 0, ""},
        {{"-xm"}, 0, "FALSE\n"},
        {{"-x", "-m"}, 7, "ERROR: Unable to find matching productID for -m\n"},
        {{"-r"}, 0, ""},
        {{"-s"}, 0, ""},
        {{"-m"}, 0, "FALSE\n"},
        {{"-m", "CMD19"}, 0, "FALSE\n"},
        {{"-w", "a", "b"}, 2, wrong},
        {{"-b"}, 2, wrong},
        {{"-b", "1", "2", "3"}, 2, wrong},
        {{"-r", "1", "2", "3", "4", "5", "6"}, 2, wrong},
        {{"-s", "1", "2", "3", "4"}, 2, wrong},
        {{"-v", "a", "b", "c"}, 0, "29.0, Tarnwick WWAN diagnostic and factory-test tool\n"},
        {{"-h", "a"}, 0, usage()},
        {{"-m", "/dev/cu.wwanCNTL19-and-more"},
         7,
         "ERROR: Unable to find matching productID for /dev/cu.wwanCNTL19-\n"},
        {{"-r", "3", "9", "x", "0"},
         1,
         "VerifyArguments: Invalid input for receiver (3)\n"
         "VerifyArguments: Invalid input for band (9)\nVerifyArguments() returns error 1\n"},
        {{"-k"},
         6,
         "GetSKU(): code= 9, msg= Module Not Supported\nERROR: GetSKU() returns error 9\n"},
    };
    for (const auto& example : cases) {
        const FrontEndRun run = runTool(example.words);
        EXPECT_EQ(run.status, example.status);
        EXPECT_EQ(run.output, example.output);
    }
}

TEST(FrontEnd, EnumeratesBeforeItLooksAtTheLetter) {
    simulated::ClearRegistry();
    for (const char* option : {"-h", "-v", "-c", "-x", "-w"}) {
        const FrontEndRun run = runTool({option});
        EXPECT_EQ(run.status, 7);
        EXPECT_EQ(run.output, "WARNING: WWAN module not found\n");
    }
}

TEST(FrontEnd, ServesModulesInOrderUntilAnUnknownOne) {
    gHost = {};
    simulated::ClearRegistry();
    addModule("/dev/cu.wwanCMD19", 0x8222);
    addModule("/dev/cu.wwanCMD29", 0x0019);
    addModule("/dev/cu.wwanCMD39", 0x1234);
    FrontEndRun run = runTool({"-m"});
    EXPECT_EQ(run.status, 8);
    EXPECT_EQ(run.output, "FALSE\nFALSE\nERROR: Unknown WWAN module found");
    run = runTool({"-m", "wwanCMD"});  // the last that matches
    EXPECT_EQ(run.status, 8);
}

// A module must not print a piece of its neighbour's answer.
TEST(FrontEnd, ClearsItsBuffersForEachModule) {
    gHost = {};
    simulated::ClearRegistry();
    addModule("/dev/cu.wwanCMD19", 0x8231);
    addModule("/dev/cu.wwanCMD29", 0x8231);
    ScriptedDevice good(
        answering({{"AT!GVER?", "!GVER: LONG_REVISION more"}, {"AT+CFUN?", "+CFUN: 1"}}));
    ScriptedDevice gone([](const std::string&) { return ScriptedDevice::Reaction{"", true}; });
    gHost.devices = {{"/dev/cu.wwanCMD19", good.path()}, {"/dev/cu.wwanCMD29", gone.path()}};
    FrontEndRun run = runTool({"-n"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output,
              "LONG_REVISION\nGetWWanValue: error while issue command AT!GVER?\r --- code= 0, msg= "
              "readSerialPort: Error reading from serial port\n\n");
    gHost.devices["/dev/cu.wwanCMD29"] = "/nowhere";
    run = runTool({"-w"});
    EXPECT_EQ(run.status, 6);
    EXPECT_EQ(run.output,
              "ON\nGetWWanValue: code= 1, msg= OpenSerialPort: Error opening serial port "
              "/dev/cu.wwanCMD29\n\nERROR: GetWWanValue() returns error 1\n"
              "ERROR: GetPowerState() returns error 6\n");
}

TEST(FrontEnd, TransmitFailsUnderAnotherName) {
    gHost = {};
    simulated::ClearRegistry();
    addModule("/dev/cu.wwanCMD19", 0x8231);
    gHost.devices["/dev/cu.wwanCMD19"] = "/nowhere";
    const FrontEndRun run = runTool({"-b", "9", "x", "y", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output,
              "SetWWanTransmit: code= 1, msg= OpenSerialPort: Error opening serial port "
              "/dev/cu.wwanCMD19\n\nERROR: GetWWanBSDPath() returns error 1\n");
}
