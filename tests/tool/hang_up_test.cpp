#undef _FORTIFY_SOURCE  // makes inline functions of poll and __poll_chk, which are defined here

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <stdexcept>

#include "serial/serial_port.h"
#include "tests/support/held_pty.h"

namespace {

struct Poll {
    short reported;      // as a Mac's: nothing when it is asked for no events
    int answering = -1;  // where the device's reply is written meanwhile
    bool isAsked = false;
};
Poll gPoll;

}  // namespace

// In front of the system's.
extern "C" int poll(pollfd* lines, nfds_t, int) {
    if (gPoll.isAsked) throw std::runtime_error("goes on reading from a line that is gone");
    gPoll.isAsked = true;
    if (gPoll.answering != -1 && write(gPoll.answering, "late\r\n", 6) != 6) return -1;
    lines[0].revents = lines[0].events == 0 ? short{0} : gPoll.reported;
    return lines[0].revents == 0 ? 0 : 1;
}

#ifdef __GLIBC__
// What a newer C library makes of poll where a program is fortified.
extern "C" int __poll_chk(pollfd* lines, nfds_t count, int timeout, std::size_t) {
    return poll(lines, count, timeout);
}
#endif

// Taken for a silent line, one that is gone is read for ever; taken for gone, a silent one loses
// its reply.
TEST(HungUpLine, IsToldFromASilentOne) {
    const HeldPty pty;
    const int slave = pty.slave;
    termios settings = {};
    ASSERT_EQ(tcgetattr(slave, &settings), 0);
    settings.c_cc[VMIN] = settings.c_cc[VTIME] = 0;
    ASSERT_EQ(tcsetattr(slave, TCSANOW, &settings), 0);
    // Reads as nothing and refuses what is asked of a tty, as a revoked one does.
    const int revoked = open("/dev/null", O_RDWR);
    const struct {
        const char* line;
        short reported;
        int fd;
        bool isGone;
    } cases[] = {
        {"hung up", POLLIN | POLLHUP, slave, true},
        {"broken", POLLERR, slave, true},
        {"revoked", POLLIN, revoked, true},
        {"revoked, without an event", 0, revoked, true},
        {"revoked, under a driver that cannot tell", POLLNVAL, revoked, true},
        {"silent", 0, slave, false},
        {"silent until now", POLLIN, slave, false},
        {"silent, under a driver that cannot tell", POLLNVAL, slave, false},
    };
    for (const auto& testCase : cases) {
        SCOPED_TRACE(testCase.line);
        gPoll = {testCase.reported, testCase.isGone ? -1 : pty.master};
        char reply[16] = {};
        char message[kMessageSize] = {};
        int result = kSerialOk;
        EXPECT_NO_THROW(result = readSerialPort(testCase.fd, reply, sizeof reply, message));
        EXPECT_EQ(result, testCase.isGone ? kReadFailed : kSerialOk);
        EXPECT_STREQ(reply, testCase.isGone ? "" : "late");
        EXPECT_STREQ(message, testCase.isGone ? "readSerialPort: Error reading from serial port"
                                              : "readSerialPort: Nothing to read");
    }
    close(revoked);
}
