#include "siggen/signal_generator.h"

#include <gtest/gtest.h>
#include <termios.h>

#include <string>
#include <vector>

#include "tests/support/fake_host.h"
#include "tests/support/operation_run.h"

namespace {

const std::string kList = "/usr/sbin/kextstat | grep \"KeyspanUSAdriver\" > /dev/null 2>&1";
const std::string kDriver = " \"/Brek/Runtime_Files/Kexts/KeyspanUSAdriver.kext\" >> ";
const std::string kLoad = "/sbin/kextload" + kDriver + "/tmp/kextload.log 2>&1";
const std::string kUnload = "/sbin/kextunload" + kDriver + "/tmp/kextunload.log 2>&1";

// A buffer that nobody clears shows what stood on the stack before.
[[gnu::noinline]] void dirtyStack() {
    volatile char bytes[1 << 14];
    for (volatile char& byte : bytes) byte = 'x';
}

// Runs the operation with the adapter's node in place whenever its driver is loaded.
OperationRun run(std::int32_t (*operation)(), bool loaded, const std::function<void()>& fault) {
    const auto generator = [](const std::string& command) {
        return std::string(command == "*IDN?" ? "Maker,Model,1,2\n" : "");
    };
    return runOperation(0, generator, [&](const char* tty) {
        gHost.node = tty;
        gHost.isReadable = [&](const std::string&) { return loaded; };
        gHost.shell = [&](const std::string& line) {
            if (line.starts_with("/usr/sbin/kextstat")) return loaded ? 0 : 256;
            loaded = line.starts_with("/sbin/kextload ");
            return 0;
        };
        fault();
        dirtyStack();
        return operation();
    });
}

// When the identification is waited for, the line gives `text` and is gone.
std::function<void()> breakingAfter(const std::string& text) {
    return [text] { gHost.atPause = [text] { breakLine(text); }; };
}

}  // namespace

TEST(Generator, IsIdentifiedByADriverLoadedForIt) {
    termios settings = {};
    const OperationRun outcome = run(VerifySignalGeneratorConnection, false, [&] {
        gHost.atPause = [&] { tcgetattr(gHost.opened.back(), &settings); };
    });
    EXPECT_EQ(settings.c_cc[VTIME], 10) << "not the generator's profile";
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.output, "Device Identification = Maker,Model,1,2\n");
    EXPECT_EQ(outcome.wire, "*RST *IDN?");
    EXPECT_EQ(outcome.pauses, std::vector<std::uint32_t>{2000});
    EXPECT_EQ(gHost.shellLines, (std::vector{kList, kLoad, kList, kUnload}));
}

// A failure closes the port and unloads the driver, even one that was loaded before.
TEST(Generator, ThatFailsLeavesNoDriver) {
    const std::string verify = "VerifySignalGeneratorConnection: ";
    const std::string notWritten =
        "code= 4, msg= writeSerialPort: Error writing to serial port - returned -1, expected ";
    const std::string tooLong(300, 'x');
    const auto takesNothing = [] { gHost.writes = 0; };
    const struct {
        std::int32_t (*operation)();
        std::function<void()> fault;
        std::int32_t result;
        std::string output;
    } cases[] = {
        {DisableSignalGenerator, [] { gHost.node = "/nowhere"; }, 5,
         "DisableSignalGenerator: code= 1, msg= OpenSerialPort: Error opening serial port "
         "/dev/tty.KeySerial1\n\n"},
        {[] { return EnableSignalGenerator(1960.0F, -50); }, takesNothing, 5,
         "EnableSignalGenerator: error while issue command *RST " + notWritten + "6\n"},
        {DisableSignalGenerator, takesNothing, 5,
         "DisableSignalGenerator: error while issue command OUTPut1:STATe OFF " + notWritten +
             "19\n"},
        {VerifySignalGeneratorConnection, takesNothing, 4, verify + notWritten + "6\n"},
        {VerifySignalGeneratorConnection, [] { gHost.writes = 1; }, 4, verify + notWritten + "7\n"},
        {VerifySignalGeneratorConnection, breakingAfter("Maker,Mo"), 6,
         "Device Identification = Maker,Mo\n" + verify +
             "code= 6, msg= readSerialPort: Error reading from serial port\n"},
        {VerifySignalGeneratorConnection, breakingAfter(tooLong), 5,
         "Device Identification = " + tooLong.substr(0, 255) + "\n" + verify +
             "code= 5, msg= readSerialPort: Error buffer full [0]\n"},
        {VerifySignalGeneratorConnection, breakingAfter("Maker\n"), 2,
         "Device Identification = Maker\n" + verify +
             "code= 2, msg= CloseSerialPort: Error resetting tty attributes\n"},
    };
    for (const auto& testCase : cases) {
        const OperationRun outcome = run(testCase.operation, true, testCase.fault);
        EXPECT_EQ(outcome.result, testCase.result);
        EXPECT_EQ(outcome.output, testCase.output);
        EXPECT_EQ(gHost.shellLines, (std::vector{kList, kList, kUnload}));
    }
}
