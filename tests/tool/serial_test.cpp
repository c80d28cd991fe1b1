#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "serial/command_exchange.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"
#include "serial/serial_port.h"
#include "tests/support/fake_host.h"
#include "tests/support/held_pty.h"
#include "tests/support/scripted_device.h"

namespace {

class Pty : public testing::Test {
  protected:
    void SetUp() override {
        gHost = {};
        gHost.held = {&pty};
    }
    void openPort(const SerialProfile& profile = kModuleProfile) {
        ASSERT_EQ(openWithProfile(pty.path.c_str(), profile, &fd, message), kSerialOk);
    }
    void say(const std::string& bytes) {
        ASSERT_EQ(write(pty.master, bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    std::string heard() {
        char bytes[1024];
        fcntl(pty.master, F_SETFL, O_NONBLOCK);
        const ssize_t count = read(pty.master, bytes, sizeof bytes);
        return {bytes, count > 0 ? static_cast<std::size_t>(count) : 0};
    }
    termios settings() {
        termios now = {};
        tcgetattr(pty.slave, &now);
        return now;
    }

    HeldPty pty{false};
    int fd = -1;
    char message[kMessageSize] = {};
    char reply[kReplySize] = {};
};

bool sameSettings(const termios& left, const termios& right) {
    return left.c_iflag == right.c_iflag && left.c_oflag == right.c_oflag &&
           left.c_cflag == right.c_cflag && left.c_lflag == right.c_lflag &&
           memcmp(left.c_cc, right.c_cc, sizeof left.c_cc) == 0 &&
           cfgetospeed(&left) == cfgetospeed(&right);
}

}  // namespace

// A wrong flag garbles replies on a real line long before anybody suspects the settings.
TEST_F(Pty, OpensWithTheModuleProfileAndRestores) {
    const termios before = settings();
    openPort();
    const termios now = settings();
    EXPECT_EQ(now.c_iflag, 0U);
    EXPECT_EQ(now.c_oflag, before.c_oflag & ~static_cast<tcflag_t>(OPOST));
    EXPECT_EQ(now.c_cflag & (CLOCAL | CREAD | CSIZE | PARENB),
              static_cast<tcflag_t>(CLOCAL | CREAD | CS8));
    EXPECT_EQ(now.c_lflag & (ICANON | ISIG | ECHO | ECHOE | IEXTEN), 0U);
    EXPECT_EQ(now.c_cc[VMIN], 0);
    EXPECT_EQ(now.c_cc[VTIME], 1);
    EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B9600));
    EXPECT_EQ(cfgetispeed(&now), static_cast<speed_t>(B9600));
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(CloseSerialPort(fd, message), kSerialOk);
    EXPECT_TRUE(sameSettings(settings(), before));
    EXPECT_EQ(fcntl(fd, F_GETFL), -1) << "left open";
    EXPECT_STREQ(message, "");
}

TEST_F(Pty, OpensWithTheGeneratorProfile) {
    openPort(kGeneratorProfile);
    const termios now = settings();
    EXPECT_EQ(now.c_iflag & ~1U, 0U);
    EXPECT_EQ(now.c_oflag & ~1U, 0U);
    EXPECT_EQ(now.c_lflag & ~1U, 0U);
    EXPECT_EQ(now.c_cflag & (CSIZE | CSTOPB | CRTSCTS),
              static_cast<tcflag_t>(CS8 | CSTOPB | CRTSCTS));
    EXPECT_EQ(now.c_cc[VMIN], 1);
    EXPECT_EQ(now.c_cc[VTIME], 10);
    CloseSerialPort(fd, message);
}

// Root opens what it likes, so the second open is tried by a child that has given root up.
TEST_F(Pty, IsExclusive) {
    openPort();
    chmod(pty.path.c_str(), 0666);  // else it would be the node's owner that keeps the child out
    const pid_t child = fork();
    if (child == 0) {
        constexpr uid_t kNobody = 65534;
        if (getuid() == 0 && (setgroups(0, nullptr) != 0 || setuid(kNobody) != 0)) _exit(99);
        int second = -1;
        const int result = openWithProfile(pty.path.c_str(), kModuleProfile, &second, message);
        const std::string expected = "OpenSerialPort: Error opening serial port " + pty.path + "\n";
        _exit(result == kOpenFailed && expected == message ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    CloseSerialPort(fd, message);
    if (WEXITSTATUS(status) == 99) GTEST_SKIP() << "cannot give up root here";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(Pty, SaysWhichStepOfOpeningFailed) {
    EXPECT_EQ(openWithProfile("/nowhere/tty", kModuleProfile, &fd, message), kOpenFailed);
    EXPECT_STREQ(message, "OpenSerialPort: Error opening serial port /nowhere/tty\n");
    EXPECT_EQ(fd, -1);
    EXPECT_EQ(openWithProfile("/dev/null", kModuleProfile, &fd, message), kOpenFailed);
    EXPECT_STREQ(message, "OpenSerialPort: Error setting TIOCEXCL /dev/null\n");
    EXPECT_EQ(fcntl(fd, F_GETFL), -1) << "a descriptor leaks from every failed open";
    const std::string longPath = "/nowhere/" + std::string(4000, 'x');
    EXPECT_EQ(openWithProfile(longPath.c_str(), kModuleProfile, &fd, message), kOpenFailed);
    EXPECT_EQ(strlen(message), kMessageSize - 1);
}

TEST_F(Pty, WritesOneFrameOrNothing) {
    openPort();
    EXPECT_EQ(writeSerialPort(fd, "AT\r", message), kSerialOk);
    EXPECT_EQ(heard(), "AT\r\r\n");
    const std::string longest(126, 'x');
    EXPECT_EQ(writeSerialPort(fd, longest.c_str(), message), kSerialOk);
    EXPECT_EQ(heard(), longest + "\r\n");
    for (const std::size_t length : {127U, 128U, 300U, 5000U}) {
        EXPECT_EQ(writeSerialPort(fd, std::string(length, 'x').c_str(), message), kWriteFailed);
        EXPECT_STREQ(message, "writeSerialPort: Error setting control flags");
        EXPECT_EQ(writeSerialPort(fd, std::string(length, 'x').c_str(), nullptr), kWriteFailed);
    }
    EXPECT_EQ(heard(), "");
    EXPECT_EQ(writeSerialPort(-1, "AT", message), kInvalidDescriptor);
    EXPECT_STREQ(message, "writeSerialPort: fileDiscriptor is invalid (-1)");
    EXPECT_EQ(writeSerialPort(-2, "AT", message), kWriteFailed);
    EXPECT_STREQ(message,
                 "writeSerialPort: Error writing to serial port - returned -1, expected 4");
    CloseSerialPort(fd, message);
}

// What is on the wire, and what a reply buffer of `size` bytes holds afterwards: an "x" stands for
// a byte that was left alone.
TEST_F(Pty, ReadsOneReply) {
    const struct {
        const char* wire;
        std::size_t size;
        int result;
        std::string reply;
        const char* message = "";
    } cases[] = {
        {"\r\nOK\r\n", 32, kSerialOk, std::string("\r\nOK\0", 5)},
        {"OK\r", 32, kSerialOk, std::string("OK\0x", 4)},
        {"\n", 32, kSerialOk, std::string("\0x", 2)},
        {"\n\n\n", 32, kSerialOk, std::string("\n\0", 2)},
        {"a\r\nb\n", 32, kSerialOk, std::string("a\r\nb\0", 5)},
        {"", 1, kReplyTooLong, "x", "readSerialPort: Error buffer full [0]"},
        {"1234567890\r\n", 6, kReplyTooLong, "12345xx", "readSerialPort: Error buffer full [0]"},
    };
    for (const auto& testCase : cases) {
        openPort();
        say(testCase.wire);
        memset(reply, 'x', sizeof reply);
        message[0] = '\0';
        EXPECT_EQ(readSerialPort(fd, reply, testCase.size, message), testCase.result);
        EXPECT_EQ(std::string(reply, testCase.reply.size()), testCase.reply);
        EXPECT_STREQ(message, testCase.message);
        tcflush(fd, TCIFLUSH);
        CloseSerialPort(fd, message);
    }
}

TEST_F(Pty, ReadsOnAfterAPieceThatEndsNoLineAndKeepsItsMessage) {
    openPort();
    const pid_t child = fork();
    if (child == 0) {
        usleep(250000);  // past the profile's read time
        _exit(write(pty.master, "end\r\n", 5) == 5 ? 0 : 1);
    }
    say("no end yet, ");
    EXPECT_EQ(readSerialPort(fd, reply, sizeof reply, message), kSerialOk);
    EXPECT_STREQ(reply, "no end yet, end");
    EXPECT_STREQ(message, "readSerialPort: Nothing to read");
    waitpid(child, nullptr, 0);
    CloseSerialPort(fd, message);
}

// A line that has gone reads as a silent one; taking it for one would spin for ever.
TEST_F(Pty, EndsWhenTheLineHangsUp) {
    for (const char* last : {"", "half a reply"}) {
        HeldPty line;
        ASSERT_EQ(openWithProfile(line.path.c_str(), kModuleProfile, &fd, message), kSerialOk);
        ASSERT_EQ(write(line.master, last, strlen(last)), static_cast<ssize_t>(strlen(last)));
        line.hangUp();
        EXPECT_EQ(readSerialPort(fd, reply, sizeof reply, message), kReadFailed);
        EXPECT_STREQ(message, "readSerialPort: Error reading from serial port");
        EXPECT_EQ(writeSerialPort(fd, "AT", message), kWriteFailed);
        EXPECT_EQ(CloseSerialPort(fd, message), kCloseFailed);
        EXPECT_STREQ(message, "CloseSerialPort: Error resetting tty attributes");
        EXPECT_EQ(fcntl(fd, F_GETFL), -1);
    }
}

TEST_F(Pty, RefusesToCloseWhatIsNotOpen) {
    for (const int bad : {0, -1, -7}) {
        EXPECT_EQ(CloseSerialPort(bad, message), kCloseFailed);
        EXPECT_EQ(std::string(message),
                  "CloseSerialPort: fileDescriptor (" + std::to_string(bad) + ") not valid");
    }
    EXPECT_NE(fcntl(0, F_GETFL), -1) << "descriptor 0 was closed";
}

TEST(Exchange, WaitsThenComparesTheWholeReply) {
    const std::string longReply(250, 'x');
    const struct {
        std::string reply;
        const char* expected;
        int result;
        std::string message;
    } cases[] = {
        {"AT!STATUS\r\r\nOK\r\n", "OK", kSerialOk, ""},
        {"ERROR\r\n", "", kSerialOk, ""},
        {"ERROR\r\n", "OK", kReplyMismatch,
         "writeAndReadSerialPort: Comparison Failed - returned 'ERROR', expected 'OK'"},
        {longReply + "\r\n", "OK", kReplyMismatch,
         ("writeAndReadSerialPort: Comparison Failed - returned '" + longReply).substr(0, 255)},
    };
    for (const auto& line : cases) {
        for (const bool returned : {false, true}) {
            gHost = {};
            ScriptedDevice device({line.reply});
            char message[kMessageSize] = {};
            char reply[kReplySize] = {};
            int fd = -1;
            ASSERT_EQ(openWithProfile(device.path().c_str(), kModuleProfile, &fd, message), 0);
            const int result =
                returned ? writeAndReadSerialPortAndReturnBuffer(fd, "AT!STATUS\r", line.expected,
                                                                 reply, sizeof reply, message)
                         : writeAndReadSerialPort(fd, "AT!STATUS\r", line.expected, message);
            char closing[kMessageSize] = {};
            CloseSerialPort(fd, closing);
            EXPECT_EQ(result, line.result);
            if (line.result != 0) {
                EXPECT_EQ(message, line.message);
            }
            if (returned) {
                EXPECT_EQ(reply, line.reply.substr(0, line.reply.size() - 2));
            }
            EXPECT_EQ(device.wire(), "AT!STATUS\r\r\n");
            EXPECT_EQ(gHost.pauses, std::vector<std::uint32_t>{returned ? 600U : 350U});
        }
    }
}

TEST(Parsing, PicksLinesAsStrtokDoes) {
    const struct {
        const char* text;
        int index;
        const char* line;
    } cases[] = {{"a\n\nb\nc", 2, "b"},  {"a\n\nb\nc", 4, " "}, {"", 1, " "}, {"\n\n", 1, " "},
                 {"a\r\nb\r", 2, "b\r"}, {"a", 0, " "},         {"a", 1, "a"}};
    for (const auto& example : cases) {
        char text[32];
        char line[32] = "?";
        strcpy(text, example.text);
        ParseStringForLine("\n", text, example.index, line);
        EXPECT_STREQ(line, example.line) << example.text << " " << example.index;
    }
}

TEST(Parsing, CutsTheFirstLineAtEitherEndAndLaterOnesAtLineFeed) {
    char reply[] = "\r\nAT+CFUN?\r\r\n+CFUN: 1\r\n\nOK";
    LineWalker walker = walkLines(reply);
    for (const char* line : {"AT+CFUN?", "\r", "+CFUN: 1\r", "OK"}) {
        EXPECT_STREQ(nextLine(&walker), line);
    }
    EXPECT_EQ(nextLine(&walker), nullptr);
    EXPECT_EQ(nextLine(&walker), nullptr) << "walks past the end";
}

// Prints the first report and the retry's none: a second line would be a second failure to a
// script.
TEST(Session, ReportsAFailedCloseOnce) {
    gHost = {};
    ScriptedDevice device([](const std::string&) { return ScriptedDevice::Reaction{"", true}; });
    ModuleSession session;
    ASSERT_EQ(openModule(&session, "Operation", device.path().c_str()), kSerialOk);
    prepareCommand(&session, "AT\r");
    ASSERT_TRUE(postCommand(&session));
    device.wire();  // and the line is gone
    const std::string output = printed([&] { EXPECT_EQ(closeModule(&session), kCloseFailed); });
    EXPECT_EQ(output, "Operation: code= 2, msg= CloseSerialPort: Error resetting tty attributes\n");
}
