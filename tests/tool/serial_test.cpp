#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "serial/command_exchange.h"
#include "serial/serial_port.h"
#include "tests/support/fake_host.h"
#include "tests/support/held_pty.h"

namespace {

class Pty : public testing::Test {
  protected:
    void SetUp() override { gHost = {}; }
    void openPort(const SerialProfile& profile = kModuleProfile) {
        ASSERT_EQ(openWithProfile(pty.path.c_str(), profile, &fd, message), kSerialOk);
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
};

}  // namespace

// A wrong flag garbles replies on a real line long before anybody suspects the settings.
TEST_F(Pty, OpensWithItsProfileAndRestores) {
    termios before = settings();
    before.c_iflag |= IXOFF;  // which is not among what raw means
    tcsetattr(pty.slave, TCSANOW, &before);
    const struct {
        const SerialProfile& profile;
        tcflag_t output;  // flags, without OPOST's own
        tcflag_t controlMask, control;
        tcflag_t noLocal;
        cc_t vmin, vtime;
    } cases[] = {
        {kModuleProfile, before.c_oflag & ~static_cast<tcflag_t>(OPOST),
         CLOCAL | CREAD | CSIZE | PARENB, CLOCAL | CREAD | CS8,
         ICANON | ISIG | ECHO | ECHOE | IEXTEN, 0, 1},
        {kGeneratorProfile, 0, CSIZE | CSTOPB | CRTSCTS, CS8 | CSTOPB | CRTSCTS,
         ~static_cast<tcflag_t>(1), 1, 10},
    };
    for (const auto& testCase : cases) {
        openPort(testCase.profile);
        const termios now = settings();
        EXPECT_EQ(now.c_iflag, 0U);
        EXPECT_EQ(now.c_oflag, testCase.output);
        EXPECT_EQ(now.c_cflag & testCase.controlMask, testCase.control);
        EXPECT_EQ(now.c_lflag & testCase.noLocal, 0U);
        EXPECT_EQ(now.c_cc[VMIN], testCase.vmin);
        EXPECT_EQ(now.c_cc[VTIME], testCase.vtime);
        EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B9600));
        EXPECT_EQ(cfgetispeed(&now), static_cast<speed_t>(B9600));
        EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
        // Root opens what it likes, so the mark itself is asked for where it can be.
        EXPECT_TRUE(getuid() == 0 || open(pty.path.c_str(), O_RDWR | O_NOCTTY) == -1);
#ifdef TIOCGEXCL
        int exclusive = 0;
        EXPECT_EQ(ioctl(fd, TIOCGEXCL, &exclusive), 0);
        EXPECT_EQ(exclusive, 1);
#endif
        EXPECT_EQ(CloseSerialPort(fd, message), kSerialOk);
        const termios after = settings();
        EXPECT_EQ(memcmp(&after, &before, sizeof after), 0) << "settings are not restored";
        EXPECT_EQ(openPorts(), 0);
        EXPECT_STREQ(message, "");
    }
}

TEST_F(Pty, IsNotOpenedOverWhatIsNoLine) {
    EXPECT_EQ(openWithProfile("/dev/null", kModuleProfile, &fd, message), kOpenFailed);
    EXPECT_STREQ(message, "OpenSerialPort: Error setting TIOCEXCL /dev/null\n");
    EXPECT_EQ(openPorts(), 0) << "a descriptor leaks from every failed open";
    for (const int bad : {0, -1}) {
        EXPECT_EQ(CloseSerialPort(bad, message), kCloseFailed);
        EXPECT_EQ(std::string(message),
                  "CloseSerialPort: fileDescriptor (" + std::to_string(bad) + ") not valid");
    }
}

TEST_F(Pty, WritesOneFrameOrNothing) {
    openPort();
    const std::string longest(126, 'x');
    for (const std::string& command : {std::string("AT\r"), longest}) {
        EXPECT_EQ(writeSerialPort(fd, command.c_str(), message), kSerialOk);
        EXPECT_EQ(heard(), command + "\r\n");
    }
    for (const std::size_t length : {127U, 5000U}) {
        const std::string command(length, 'x');
        EXPECT_EQ(writeSerialPort(fd, command.c_str(), message), kWriteFailed);
        EXPECT_STREQ(message, "writeSerialPort: Error setting control flags");
        EXPECT_EQ(writeSerialPort(fd, command.c_str(), nullptr), kWriteFailed);
    }
    EXPECT_EQ(heard(), "");
    EXPECT_EQ(writeSerialPort(-1, "AT", message), kInvalidDescriptor);
    EXPECT_STREQ(message, "writeSerialPort: fileDiscriptor is invalid (-1)");
    EXPECT_EQ(writeSerialPort(-2, "AT", message), kWriteFailed);
    EXPECT_STREQ(message,
                 "writeSerialPort: Error writing to serial port - returned -1, expected 4");
    CloseSerialPort(fd, message);
}

TEST(Write, ThatTakesAPartHasFailed) {
    FILE* const file = tmpfile();
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit threeBytes = {3, before.rlim_max};
    char message[kMessageSize] = {};
    setrlimit(RLIMIT_FSIZE, &threeBytes);
    const int result = writeSerialPort(fileno(file), "AT", message);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(result, kWriteFailed);
    EXPECT_STREQ(message, "writeSerialPort: Error writing to serial port - returned 3, expected 4");
    fclose(file);
}

// What is on the wire, and what a reply buffer of `size` bytes holds afterwards: an "x" stands for
// a byte that was left alone.
TEST_F(Pty, ReadsOneReply) {
    const struct {
        std::string wire;
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
        ASSERT_NE(write(pty.master, testCase.wire.data(), testCase.wire.size()), -1);
        char reply[kMessageSize];
        memset(reply, 'x', sizeof reply);
        message[0] = '\0';
        EXPECT_EQ(readSerialPort(fd, reply, testCase.size, message), testCase.result);
        EXPECT_EQ(std::string(reply, testCase.reply.size()), testCase.reply);
        EXPECT_STREQ(message, testCase.message);
        tcflush(fd, TCIFLUSH);
        CloseSerialPort(fd, message);
    }
}

TEST_F(Pty, ExchangesACommandForItsReply) {
    const std::string mismatch = "writeAndReadSerialPort: Comparison Failed - returned '";
    const std::string longest(254, 'x');
    const struct {
        std::string reply;
        int result;
        std::string message;
    } cases[] = {
        {"AT\r\r\nOK\r\n", kSerialOk, ""},
        {"ERROR\r\n", 12, mismatch + "ERROR', expected 'OK'"},
        {longest + "\r\n", kReplyMismatch, (mismatch + longest).substr(0, kMessageSize - 1)},
        {longest + "x\r\n", kReplyTooLong, "readSerialPort: Error buffer full [0]"},
    };
    for (const auto& testCase : cases) {
        openPort();
        gHost.atPause = [&] {
            EXPECT_EQ(heard(), "AT\r\r\n");
            EXPECT_NE(write(pty.master, testCase.reply.data(), testCase.reply.size()), -1);
        };
        message[0] = '\0';
        EXPECT_EQ(writeAndReadSerialPort(fd, "AT\r", "OK", message), testCase.result);
        EXPECT_EQ(message, testCase.message);
        tcflush(fd, TCIFLUSH);
        CloseSerialPort(fd, message);
    }
    gHost.pauses.clear();
    EXPECT_EQ(writeAndReadSerialPort(-1, "AT\r", "OK", message), kInvalidDescriptor);
    EXPECT_TRUE(gHost.pauses.empty());
}

// As strtok would pick it: delimiters side by side are one.
TEST(Parsing, PicksOneToken) {
    const struct {
        const char* delimiters;
        const char* text;
        int index;
        const char* token;
    } cases[] = {
        {"\n", "a\n\nb\nc", 2, "b"}, {"\n", "a\n\nb\nc", 4, " "}, {"\n", "a\r\nb\r", 2, "b\r"},
        {"\n", "", 1, " "},          {"\n", "\n\n", 1, " "},      {"\n", "a", 1, "a"},
        {"\n", "a", 0, " "},         {"\n", "a", -1, " "},        {"", "a b", 1, "a b"},
        {"ab", "abcbad", 2, "d"},
    };
    for (const auto& testCase : cases) {
        char text[32];
        char token[32] = "?";
        strcpy(text, testCase.text);
        ParseStringForLine(testCase.delimiters, text, testCase.index, token);
        EXPECT_STREQ(token, testCase.token) << testCase.text << " " << testCase.index;
    }
}
