#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "siggen/signal_generator.h"
#include "tests/support/fake_host.h"
#include "tests/support/scripted_device.h"

namespace {

// The station as the driver tools and the adapter's node show it.
struct Driver {
    bool loaded = false;
    bool loads = true;
    bool unloads = true;
    std::uint32_t userId = 0;
    bool nodeAppears = true;
    bool hasDevice = true;
};

struct Outcome {
    int result = -1;
    std::string output;
    std::string wire;
    bool loaded = false;
    std::size_t seconds = 0;  // waited for the node
};

bool startsWith(const std::string& text, const char* start) {
    return text.rfind(start, 0) == 0;
}

Outcome run(Driver driver, std::int32_t (*operation)(), ScriptedDevice::Script script) {
    ScriptedDevice device(std::move(script));
    gHost = {};
    gHost.userId = driver.userId;
    gHost.devices["/dev/tty.KeySerial1"] = driver.hasDevice ? device.path() : "/nowhere";
    gHost.isReadable = [&](const std::string& path) {
        return path == "/dev/tty.KeySerial1" && driver.loaded && driver.nodeAppears;
    };
    gHost.shell = [&](const std::string& line) {
        if (startsWith(line, "/usr/sbin/kextstat | grep \"KeyspanUSAdriver\"")) {
            return driver.loaded ? 0 : 256;
        }
        const bool loads =
            startsWith(line, "/sbin/kextload \"/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext\"");
        if (loads ? !driver.loads : !driver.unloads) return 256;
        driver.loaded = loads;
        return 0;
    };
    Outcome outcome;
    outcome.output = printed([&] { outcome.result = operation(); });
    outcome.wire = device.wire();
    outcome.loaded = driver.loaded;
    for (const std::uint32_t pause : gHost.pauses) outcome.seconds += pause / 1000;
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
    } cases[] = {
        {enable,
         "*RST\r\n:SYST:DISP:UPD ON\r\nSOUR:FREQ 1960.000000MHz\r\nSOUR:POWer:MODE FIX\r\n"
         "SOUR:POWer:LEVel -50\r\nOUTPut1:STATe ON\r\n",
         ""},
        {DisableSignalGenerator, "OUTPut1:STATe OFF\r\n:SYST:DISP:UPD OFF\r\n", ""},
        {VerifySignalGeneratorConnection, "*RST\r\n*IDN?\r\n",
         "Device Identification = Maker,Model,1,2\n"},
    };
    for (const auto& example : cases) {
        for (const bool loaded : {false, true}) {
            const Outcome outcome = run({.loaded = loaded}, example.operation, generator);
            EXPECT_EQ(outcome.result, 0);
            EXPECT_EQ(outcome.wire, example.wire);
            EXPECT_EQ(outcome.output, example.output);
            EXPECT_EQ(outcome.loaded, loaded) << "the driver is not left as it was";
        }
    }
}

// What is returned, said and left loaded when a step fails; the generator's answer to each is the
// same.
TEST(Generator, FailuresOfTheDriverAndTheNode) {
    const std::string timeout =
        ": code= 11, msg= verifyDeviceConnected: Timeout waiting for serial device "
        "'/dev/tty.KeySerial1'\n\n";
    const std::string notLoaded =
        ": code= 8, msg= loadKext: Error (256) loading the kext "
        "(/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext), see '/tmp/kextload.log' for details\n";
    const std::string notUnloaded =
        ": code= 9, msg= unloadKext: Error (256) unloading the kext "
        "(/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext), see '/tmp/kextunload.log' for "
        "details\n";
    const struct {
        Driver driver;
        int code;
        std::string report;
        bool leftLoaded;
        std::size_t seconds;
        bool commanded;  // the failure comes after a successful run: its code is returned by all
    } cases[] = {
        {{.userId = 501}, 7, ": code= 7, msg= loadKext: Must be run as root\n\n", false, 0, false},
        {{.loads = false}, 8, notLoaded, false, 0, false},
        {{.nodeAppears = false}, 11, timeout, false, 10, false},
        {{.loaded = true, .nodeAppears = false}, 11, timeout, false, 10, false},
        {{.loaded = true, .unloads = false, .nodeAppears = false}, 11, timeout, true, 10, false},
        {{.hasDevice = false},
         1,
         ": code= 1, msg= OpenSerialPort: Error opening serial port /dev/tty.KeySerial1\n\n",
         false,
         0,
         false},
        {{.unloads = false}, 9, notUnloaded, true, 0, true},
    };
    const struct {
        std::int32_t (*operation)();
        const char* name;
        bool tellsStep;
    } operations[] = {{enable, "EnableSignalGenerator", false},
                      {DisableSignalGenerator, "DisableSignalGenerator", false},
                      {VerifySignalGeneratorConnection, "VerifySignalGeneratorConnection", true}};
    for (const auto& example : cases) {
        for (const auto& operation : operations) {
            const Outcome outcome = run(example.driver, operation.operation, generator);
            const bool identified = example.commanded && operation.tellsStep;
            EXPECT_EQ(outcome.result, operation.tellsStep || example.commanded ? example.code : 5);
            EXPECT_EQ(outcome.output,
                      (identified ? "Device Identification = Maker,Model,1,2\n" : "") +
                          (operation.name + example.report));
            EXPECT_EQ(outcome.loaded, example.leftLoaded);
            EXPECT_EQ(outcome.seconds, example.seconds + (identified ? 2 : 0));
        }
    }
}

TEST(Generator, ThatVanishesLeavesNoDriver) {
    const auto vanishes = [](const std::string& command) -> ScriptedDevice::Reaction {
        return {"", command == "*IDN?"};
    };
    const Outcome outcome = run({.loaded = true}, VerifySignalGeneratorConnection, vanishes);
    EXPECT_EQ(outcome.result, 6);
    EXPECT_EQ(outcome.output,
              "VerifySignalGeneratorConnection: code= 6, msg= readSerialPort: Error reading from "
              "serial port\n");
    EXPECT_FALSE(outcome.loaded);
}
