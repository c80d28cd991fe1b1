#include "platform/host.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string>

#include "platform/bounded_text.h"
#include "platform/simulated/station_root.h"

using simulated::openRegular;
using simulated::stationPath;
using simulated::stationRoot;

static constexpr int kCommandNotFound = 127 << 8;  // as system(3) reports it

namespace {

// What host.conf says.
struct HostConf {
    std::optional<std::uint32_t> userId;
    double timeScale = 1;
};

}  // namespace

// With C's streams: C++'s would bring their locales into a program that starts for each
// measurement, a fifth of its start.
static void takeConfLine(const char* line, HostConf* conf) {
    char key[16] = "";
    char rest = '\0';
    double number = 0;
    const int found = sscanf(line, "%15s %lf %c", key, &number, &rest);
    if (found < 1 || key[0] == '#') return;
    const bool isNumber = found == 2 && number >= 0 && number < 4294967296.0;
    if (isNumber && strcmp(key, "user-id") == 0) {
        conf->userId = static_cast<std::uint32_t>(number);
    } else if (isNumber && strcmp(key, "time-scale") == 0) {
        conf->timeScale = number;
    } else {
        fprintf(stderr, "host.conf: not understood: %s\n", line);
    }
}

static HostConf readHostConf() {
    HostConf conf;
    char path[PATH_MAX];
    const char* problem = "";
    const int fd = stationPath(path, sizeof path, "/host.conf") ? openRegular(path, &problem) : -1;
    FILE* const file = fd == -1 ? nullptr : fdopen(fd, "r");
    if (file == nullptr) return conf;
    char line[256];
    while (fgets(line, sizeof line, file) != nullptr) {
        line[strcspn(line, "\r\n")] = '\0';
        takeConfLine(line, &conf);
    }
    fclose(file);
    return conf;
}

static const HostConf& hostConf() {
    static const HostConf conf = readHostConf();
    return conf;
}

// The node in the station root that stands for a "/dev/..." path; other paths are left as they are.
static const char* mapDevice(const char* path, char* mapped, std::size_t size) {
    if (strncmp(path, "/dev/", 5) != 0 || strstr(path, "/../") != nullptr) return path;
    return stationPath(mapped, size, path) ? mapped : path;
}

static bool isSameFile(const char* node, int fd) {
    struct stat now = {};
    struct stat opened = {};
    return stat(node, &now) == 0 && fstat(fd, &opened) == 0 && now.st_dev == opened.st_dev &&
           now.st_ino == opened.st_ino;
}

// A lock tells of other users that lock, from their open on; the exclusive mark tells of the rest,
// and of one whose pty the station has not replaced yet. Either alone leaves a gap. The node may
// have been moved to another pty while this one was opened.
static bool isTaken(const char* node, int fd) {
    if (flock(fd, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK) return true;
    int exclusive = 0;
#ifdef TIOCGEXCL
    if (ioctl(fd, TIOCGEXCL, &exclusive) == -1) exclusive = 0;
#endif
    return exclusive != 0 || !isSameFile(node, fd);
}

// As open(2), with EBUSY for a node that somebody else has, root's included.
static int openAlone(const char* node, int flags) {
    const int fd = open(node, flags | O_CLOEXEC);
    if (fd == -1 || !isTaken(node, fd)) return fd;
    close(fd);
    errno = EBUSY;
    return -1;
}

// Whether the next try may end better: a station replaces the pty behind a link after each user.
static bool mayComeFree(const char* node) {
    if (errno == EBUSY) return true;
    struct stat link = {};
    return (errno == ENOENT || errno == EIO || errno == ENXIO) && lstat(node, &link) == 0 &&
           S_ISLNK(link.st_mode);
}

namespace host {

int OpenDevice(const char* path, int flags) {
    char mapped[PATH_MAX];
    const char* node = mapDevice(path, mapped, sizeof mapped);
    // An idle station needs less than the short step, one on a busy machine up to a second. Nothing
    // is held open between two tries: it would keep the old pty in use.
    constexpr int kTries = 1000;
    constexpr int kShortTries = 10;
    constexpr timespec kShortStep = {0, 100000};
    constexpr timespec kStep = {0, 1000000};
    int fd = openAlone(node, flags);
    for (int tries = 1; fd == -1 && tries < kTries && mayComeFree(node); ++tries) {
        nanosleep(tries <= kShortTries ? &kShortStep : &kStep, nullptr);
        fd = openAlone(node, flags);
    }
    return fd;
}

bool IsReadable(const char* path) {
    char mapped[PATH_MAX];
    return access(mapDevice(path, mapped, sizeof mapped), R_OK) == 0;
}

int RunShell(const char* line) {
    static constexpr const char* kMapped[] = {"/usr/sbin/kextstat", "/sbin/kextload",
                                              "/sbin/kextunload", "/tmp/kextload.log",
                                              "/tmp/kextunload.log"};
    if (stationRoot() == nullptr) return kCommandNotFound;
    std::string command;
    // Word by word, as a path is looked for where one can begin.
    for (const char* word = line; *word != '\0';) {
        for (const char* path : kMapped) {
            if (strncmp(word, path, strlen(path)) != 0) continue;
            command += "\"$TARNWICK_STATION\"";
            break;
        }
        const std::size_t length = strcspn(word, " ");
        const std::size_t blanks = strspn(word + length, " ");
        command.append(word, length + blanks);
        word += length + blanks;
    }
    return system(command.c_str());
}

std::uint32_t RealUserId() {
    return hostConf().userId.value_or(getuid());
}

void PauseMilliseconds(std::uint32_t milliseconds) {
    const double nanoseconds = static_cast<double>(milliseconds) * 1e6 * hostConf().timeScale;
    timespec left;
    left.tv_sec = static_cast<time_t>(nanoseconds / 1e9);
    left.tv_nsec = static_cast<long>(nanoseconds - static_cast<double>(left.tv_sec) * 1e9);
    while (nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

int NextOption(int argc, char** argv, const char* letters) {
    // The plus sign keeps glibc from looking for options behind the first operand.
    char inOrder[64];
    formatText(inOrder, sizeof inOrder, "+%s", letters);
    return getopt(argc, argv, inOrder);
}

}  // namespace host
