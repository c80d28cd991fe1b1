#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "siggen/signal_generator.h"
#include "tests/support/fake_host.h"
#include "tests/support/scripted_device.h"

namespace {

using Pauses = std::vector<std::uint32_t>;

const std::string kList = "/usr/sbin/kextstat | grep \"KeyspanUSAdriver\" > /dev/null 2>&1";
const std::string kDriver = " \"/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext\" >> ";
const std::vector<std::string> kLoadAndUnload = {
    kList, "/sbin/kextload" + kDriver + "/tmp/kextload.log 2>&1", kList,
    "/sbin/kextunload" + kDriver + "/tmp/kextunload.log 2>&1"};

struct Outcome {
    int result = -1;
    std::string output;
    std::string wire;
    bool loaded = false;
};

// Runs the operation with the adapter's node in place whenever its driver is loaded.
Outcome run(std::int32_t (*operation)(), bool loaded, ScriptedDevice::Script script,
            const char* node = nullptr, bool readOnly = false) {
    ScriptedDevice device(std::move(script));
    gHost = {};
    gHost.devices["/dev/tty.KeySerial1"] = node != nullptr ? node : device.path();
    gHost.readOnly = readOnly;
    gHost.isReadable = [&](const std::string&) { return loaded; };
    gHost.shell = [&](const std::string& line) {
        if (line.starts_with("/usr/sbin/kextstat")) return loaded ? 0 : 256;
        loaded = line.starts_with("/sbin/kextload ");
        return 0;
    };
    Outcome outcome;
    outcome.output = printed([&] { outcome.result = operation(); });
    EXPECT_EQ(openPorts(), 0) << "a port was left open";
    outcome.wire = device.wire();
    outcome.loaded = loaded;
    return outcome;
}

ScriptedDevice::Reaction generator(const std::string& command) {
    return {command == "*IDN?" ? "Maker,Model,1,2\n" : ""};
}

std::int32_t enable() {
    return EnableSignalGenerator(1960.0F, -50);
}

}  // namespace

TEST(Generator, IsCommandedInOrder) {
    const struct {
        std::int32_t (*operation)();
        const char* wire;
        const char* output;
        Pauses pauses;
    } cases[] = {
        {enable,
         "*RST\r\n:SYST:DISP:UPD ON\r\nSOUR:FREQ 1960.000000MHz\r\nSOUR:POWer:MODE FIX\r\n"
         "SOUR:POWer:LEVel -50\r\nOUTPut1:STATe ON\r\n",
         "",
         {}},
        {DisableSignalGenerator, "OUTPut1:STATe OFF\r\n:SYST:DISP:UPD OFF\r\n", "", {}},
        {VerifySignalGeneratorConnection,
         "*RST\r\n*IDN?\r\n",
         "Device Identification = Maker,Model,1,2\n",
         {2000}},
    };
    for (const auto& example : cases) {
        for (const bool loaded : {false, true}) {
            const Outcome outcome = run(example.operation, loaded, generator);
            EXPECT_EQ(outcome.result, 0);
            EXPECT_EQ(outcome.wire, example.wire);
            EXPECT_EQ(outcome.output, example.output);
            EXPECT_EQ(outcome.loaded, loaded) << "the driver is not left as it was";
            EXPECT_EQ(gHost.pauses, example.pauses);
            EXPECT_EQ(gHost.shellLines, loaded ? std::vector{kList} : kLoadAndUnload);
        }
    }
}

// A failure unloads even a driver that was loaded before.
TEST(Generator, ThatCannotBeReachedLeavesNoDriver) {
    const Outcome outcome = run(DisableSignalGenerator, true, generator, "/nowhere");
    EXPECT_EQ(outcome.result, 5);
    EXPECT_EQ(outcome.output,
              "DisableSignalGenerator: code= 1, msg= OpenSerialPort: Error opening serial port "
              "/dev/tty.KeySerial1\n\n");
    EXPECT_FALSE(outcome.loaded);
}

TEST(Generator, ThatTakesNoCommandIsClosedAndLeavesNoDriver) {
    const std::string failed =
        "code= 4, msg= writeSerialPort: Error writing to serial port - returned -1, expected ";
    const struct {
        std::int32_t (*operation)();
        std::string output;
    } cases[] = {
        {enable, "EnableSignalGenerator: error while issue command *RST " + failed + "6\n"},
        {DisableSignalGenerator,
         "DisableSignalGenerator: error while issue command OUTPut1:STATe OFF " + failed + "19\n"},
    };
    for (const auto& example : cases) {
        for (const bool loaded : {false, true}) {
            const Outcome outcome = run(example.operation, loaded, generator, nullptr, true);
            EXPECT_EQ(outcome.result, 5);
            EXPECT_EQ(outcome.output, example.output);
            EXPECT_EQ(outcome.wire, "");
            EXPECT_FALSE(outcome.loaded);
        }
    }
}
