#include "tests/fuzz/fuzz_host.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/host.h"
#include "tests/fuzz/fuzz_target.h"

static int master = -1;  // -1: hung up
static int slave = -1;   // held, so that the line lives between its users
static FarEnd theFarEnd;
static std::size_t nextReply = 0;
static std::size_t nextStatus = 0;
static std::vector<int> opened;

static void openLine() {
    master = posix_openpt(O_RDWR | O_NOCTTY);
    require(grantpt(master) == 0 && unlockpt(master) == 0, "a pty");
    fcntl(master, F_SETFL, O_NONBLOCK);
    slave = open(ptsname(master), O_RDWR | O_NOCTTY);
    termios settings = {};
    tcgetattr(slave, &settings);
    cfmakeraw(&settings);
    tcsetattr(slave, TCSANOW, &settings);
}

static void hangUp() {
    close(master);
    close(slave);
    master = slave = -1;
}

int runAtFarEnd(const FarEnd& farEnd, const std::function<int()>& operation) {
    if (master == -1) openLine();
    for (const int fd : {master, slave}) tcflush(fd, TCIOFLUSH);
    theFarEnd = farEnd;
    nextReply = nextStatus = 0;
    opened.clear();
    termios before = {};
    tcgetattr(slave, &before);
    const int result = operation();
    for (const int fd : opened) require(fcntl(fd, F_GETFD) == -1, "a port is closed");
    termios after = {};
    tcgetattr(slave, &after);
    require(master == -1 || memcmp(&before, &after, sizeof after) == 0, "settings are restored");
    return result;
}

namespace host {

int OpenDevice(const char* path, int flags) {
    errno = ENOENT;
    if (master == -1 || strncmp(path, "/dev/", 5) != 0) return -1;
    ioctl(slave, TIOCNXCL);  // the end that is held also holds the last user's exclusive use
    opened.push_back(open(ptsname(master), flags));
    return opened.back();
}

bool IsReadable(const char*) {
    return master != -1;
}

int RunShell(const char*) {
    const std::string& statuses = theFarEnd.shellStatuses;
    return nextStatus >= statuses.size() || statuses[nextStatus++] == '0' ? 0 : 256;
}

std::uint32_t RealUserId() {
    return 0;
}

void PauseMilliseconds(std::uint32_t) {
    if (master == -1) return;
    char heard[4096];
    while (read(master, heard, sizeof heard) > 0) {
    }
    const bool isLeft = nextReply < theFarEnd.replies.size();
    std::string reply = isLeft ? theFarEnd.replies[nextReply++] : "ERROR";
    if (!reply.ends_with('\r') && !reply.ends_with('\n')) reply += '\n';
    const ssize_t written = write(master, reply.data(), reply.size());
    if (written < static_cast<ssize_t>(reply.size()) || reply.starts_with('\4')) hangUp();
}

int NextOption(int argc, char** argv, const char* letters) {
    opterr = 0;  // most inputs have unknown options, and a complaint is a system call
    return getopt(argc, argv, (std::string("+") + letters).c_str());
}

}  // namespace host
