#include "tests/fuzz/fuzz_host.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "platform/host.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/support/held_pty.h"

static std::optional<HeldPty> line;  // none: hung up
static FarEnd theFarEnd;
static std::size_t nextReply = 0;
static std::size_t nextStatus = 0;
static std::vector<int> opened;

int runAtFarEnd(const FarEnd& farEnd, const std::function<int()>& operation) {
    if (!line) {
        line.emplace();
        fcntl(line->master, F_SETFL, O_NONBLOCK);
    }
    for (const int fd : {line->master, line->slave}) tcflush(fd, TCIOFLUSH);
    theFarEnd = farEnd;
    nextReply = nextStatus = 0;
    opened.clear();
    termios before = {};
    tcgetattr(line->slave, &before);
    const int result = operation();
    for (const int fd : opened) require(fcntl(fd, F_GETFD) == -1, "a port is closed");
    termios after = before;
    if (line) tcgetattr(line->slave, &after);
    require(memcmp(&before, &after, sizeof after) == 0, "settings are restored");
    return result;
}

namespace host {

int OpenDevice(const char* path, int flags) {
    errno = ENOENT;
    if (!line || strncmp(path, "/dev/", 5) != 0) return -1;
    line->endExclusiveUse();
    opened.push_back(open(line->path.c_str(), flags));
    return opened.back();
}

bool IsReadable(const char*) {
    return line.has_value();
}

int RunShell(const char*) {
    const std::string& statuses = theFarEnd.shellStatuses;
    return nextStatus >= statuses.size() || statuses[nextStatus++] == '0' ? 0 : 256;
}

std::uint32_t RealUserId() {
    return 0;
}

void PauseMilliseconds(std::uint32_t) {
    if (!line) return;
    char heard[4096];
    while (read(line->master, heard, sizeof heard) > 0) {
    }
    const bool isLeft = nextReply < theFarEnd.replies.size();
    std::string reply = isLeft ? theFarEnd.replies[nextReply++] : "ERROR";
    if (!reply.ends_with('\r') && !reply.ends_with('\n')) reply += '\n';
    const ssize_t written = write(line->master, reply.data(), reply.size());
    if (written < static_cast<ssize_t>(reply.size()) || reply.starts_with('\4')) line.reset();
}

int NextOption(int argc, char** argv, const char* letters) {
    opterr = 0;  // most inputs have unknown options, and a complaint is a system call
    return getopt(argc, argv, (std::string("+") + letters).c_str());
}

}  // namespace host
