// The built tool at lines that no station has made: whoever did keeps one pty open for all users.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/program/station_run.h"
#include "tests/support/foreign_line.h"
#include "tests/support/operation_run.h"

namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

constexpr const char* kEntry = "+CPBR: 1,\"123456789\",129,\"hello\"";

// A root made by hand, with a module and a generator whose driver is always loaded.
class HandMadeRoot : public testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarnwick-root-XXXXXX";
        root = mkdtemp(pattern);
        for (const char* folder : {"ioregistry", "dev", "usr/sbin", "counts"}) {
            fs::create_directories(root / folder);
        }
        write("ioregistry/IOService.plist",
              "<plist><array><dict><key>IOObjectClass</key><string>IOSerialBSDClient</string>"
              "<key>IOCalloutDevice</key><string>/dev/cu.wwanCMD19</string></dict>"
              "<dict><key>IOObjectClass</key><string>OrvelWWANSupport</string>"
              "<key>idProduct</key><integer>33330</integer></dict></array></plist>");
        write("host.conf", "time-scale 0.002\n");
        write("usr/sbin/kextstat", "#!/bin/sh\necho KeyspanUSAdriver\n");
        fs::create_symlink(module.pty.path, root / "dev/cu.wwanCMD19");
        fs::create_symlink(generator.pty.path, root / "dev/tty.KeySerial1");
        fs::copy_file(toolPath(), root / "Tarnwick");  // its own folder may be closed to others
        for (const char* file : {"", "usr/sbin/kextstat"}) {
            fs::permissions(root / file, fs::perms{0755});
        }
        fs::permissions(root / "counts", fs::perms::all);
    }
    void TearDown() override { fs::remove_all(root); }

    void write(const char* file, const char* text) const { std::ofstream(root / file) << text; }
    ToolRun tool(Words arguments) const {
        arguments.insert(arguments.begin(), root / "Tarnwick");
        std::vector<std::string> environment = {"TARNWICK_STATION=" + root.string()};
        // Where a program built for coverage leaves its counts: another user may not write root's.
        if (getuid() != user) environment.push_back("GCOV_PREFIX=" + (root / "counts").string());
        return runProgram(arguments, environment);
    }

    const uid_t user = getuid();
    fs::path root;
    ForeignLine module{[](const std::string& command) {
        static const Script answers = answering({{"AT+CFUN?", "+CFUN: 1"},
                                                 {"AT+CGSN", "012345006780006"},
                                                 {"AT!GVER?", "!GVER: K2_0"},
                                                 {"AT^HVER", "^HVER: 1.4"},
                                                 {"AT!PRIID?", "PRI Part Number: 9901042"},
                                                 {"AT^SYSINFO", "^SYSINFO:2,3,0,5,1"},
                                                 {"AT^CARDMODE", "^CARDMODE:2"},
                                                 {"AT!DTEMP?", "41"},
                                                 {"AT!DAGGAVGRSSI", "-80 dBm"},
                                                 {"AT+CPBR", kEntry}});
        // What nobody waits for would stay in a line that nobody ends, for the next to read.
        return command.starts_with("AT+CFUN=") ? "" : answers(command);
    }};
    ForeignLine generator{[](const std::string& command) {
        return std::string(command == "*IDN?" ? "Maker,Model,1,2\n" : "");
    }};
};

// As the user who runs the test and, if that is root, as one whom exclusive use keeps out.
void asEachUser(const std::function<void()>& action) {
    action();
    if (getuid() != 0) return;
    const pid_t child = fork();
    if (child == 0) {
        constexpr unsigned kNobody = 65534;
        if (setgroups(0, nullptr) == -1 || setgid(kNobody) == -1 || setuid(kNobody) == -1) abort();
        action();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << "as an ordinary user";
}

}  // namespace

// Exclusive use that stayed would let each line be used once only.
TEST_F(HandMadeRoot, ServesEveryOptionAgainAndAgain) {
    const struct {
        Words arguments;
        const char* output;
    } cases[] = {
        {{"-w"}, "ON\n"},
        {{"-f"}, ""},
        {{"-p"}, ""},
        {{"-e"}, "012345006780006\n"},
        {{"-n"}, "K2_0\n"},
        {{"-k"}, "9901042\n"},
        {{"-i"}, "FW = K2_0\nHW = 1.4\nSIM PRESENT = 1,1\nSIM TYPE = 2\nSTATUS = \n"},
        {{"-m"}, "TRUE\n"},
        {{"-a"}, "PASS\n"},
        {{"-t"}, "41\t41\n"},
        {{"-r", "1", "3", "62", "0"}, "Issue \"AT!DASBAND=10\r\"\n-80 dBm\n"},
        {{"-s", "1", "3", "62", "-50", "0"}, "Issue \"AT!DASBAND=10\r\"\n-80 dBm\n"},
        {{"-b", "3", "62", "10", "1"}, ""},
        {{"-c"}, "Device Identification = Maker,Model,1,2\n"},
    };
    asEachUser([&] {
        for (const auto& testCase : cases) {
            for (const char* time : {"first", "second"}) {
                const ToolRun run = tool(testCase.arguments);
                EXPECT_EQ(run.output, testCase.output) << testCase.arguments[0] << ' ' << time;
                EXPECT_EQ(run.status, 0) << testCase.arguments[0] << ' ' << time;
                EXPECT_EQ(run.errors, "");
            }
        }
    });
}

TEST_F(HandMadeRoot, ServesTwoToolsAtOnceOneAfterTheOther) {
    constexpr int kRounds = 50;
    const std::string refused = "Error opening serial port /dev/cu.wwanCMD19";
    asEachUser([&] {
        for (int round = 0; round < kRounds; ++round) {
            ToolRun other;
            std::thread rival([&] { other = tool({"-n"}); });
            const ToolRun run = tool({"-e"});
            rival.join();
            EXPECT_TRUE(run.output == "012345006780006\n" ||
                        run.output.find(refused) != std::string::npos)
                << run.output;
            EXPECT_TRUE(other.output == "K2_0\n" || other.output.find(refused) != std::string::npos)
                << other.output;
            EXPECT_EQ(tool({"-m"}).output, "TRUE\n") << "not free after round " << round;
        }
    });
}

TEST_F(HandMadeRoot, ServesRootAfterAToolThatWasKilled) {
    if (getuid() != 0) GTEST_SKIP() << "exclusive use keeps out whoever is not root";
    ioctl(module.pty.slave, TIOCEXCL);
    EXPECT_EQ(tool({"-n"}).output, "K2_0\n");
}
