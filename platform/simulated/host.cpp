#include "platform/host.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "platform/bounded_text.h"
#include "platform/simulated/device_node.h"
#include "platform/simulated/host_conf.h"
#include "platform/simulated/station_root.h"

using simulated::HostConf;
using simulated::openRegular;
using simulated::stationPath;
using simulated::stationRoot;

// Where the device that was opened last was found; one is open at a time. Written by OpenDevice.
static char gOpenNode[PATH_MAX];

static constexpr int kCommandNotFound = 127 << 8;  // as system(3) reports it

static HostConf openHostConf() {
    char path[PATH_MAX];
    const char* problem = "";
    const int fd = stationPath(path, sizeof path, "/host.conf") ? openRegular(path, &problem) : -1;
    FILE* const file = fd == -1 ? nullptr : fdopen(fd, "r");
    if (file == nullptr) return {};
    const HostConf conf = simulated::readHostConf(file);
    fclose(file);
    return conf;
}

static const HostConf& hostConf() {
    static const HostConf conf = openHostConf();
    return conf;
}

// The node in the station root that stands for a "/dev/..." path; other paths are left as they are.
static const char* mapDevice(const char* path, char* mapped, std::size_t size) {
    if (strncmp(path, "/dev/", 5) != 0 || strstr(path, "/../") != nullptr) return path;
    return stationPath(mapped, size, path) ? mapped : path;
}

// Once: a run may open several nodes of the root.
static bool tellsOfLostStation() {
    if (!simulated::hasLostStation()) return false;
    static bool isTold = false;
    if (!isTold) {
        fprintf(stderr, "%s: the station of this root is gone; start another\n", stationRoot());
    }
    isTold = true;
    return true;
}

namespace {

// Waiting for the station to put the next pty in place, in real time: an idle station needs less
// than a short step, one on a busy machine up to a second.
class Patience {
  public:
    explicit Patience(std::chrono::milliseconds limit) : end_(Clock::now() + limit) {}

    // Waits a step; false, at once, when the limit has been reached.
    bool wait() {
        constexpr int kShortSteps = 10;
        constexpr timespec kShortStep = {0, 100000};
        constexpr timespec kStep = {0, 1000000};
        if (Clock::now() >= end_) return false;
        nanosleep(steps_ < kShortSteps ? &kShortStep : &kStep, nullptr);
        ++steps_;
        return true;
    }

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point end_;
    int steps_ = 0;  // waited so far
};

}  // namespace

namespace host {

int OpenDevice(const char* path, int flags) {
    char mapped[PATH_MAX];
    const char* node = mapDevice(path, mapped, sizeof mapped);
    if (node == mapped && tellsOfLostStation()) {
        errno = ENXIO;
        return -1;
    }
    copyText(gOpenNode, sizeof gOpenNode, node);
    // Nothing is held open between two tries: it would keep the old pty in use.
    Patience patience(std::chrono::seconds{1});
    int fd = simulated::openAlone(node, flags);
    while (fd == -1 && simulated::mayComeFree(node) && patience.wait()) {
        fd = simulated::openAlone(node, flags);
    }
    return fd;
}

void CloseDevice(int fd) {
    struct stat closed = {};
    const bool isReplaced = fstat(fd, &closed) == 0 && simulated::isStationPty(closed);
    simulated::closeAlone(fd);
    // So that whoever opens the node next, without any patience, finds it free.
    Patience patience(std::chrono::milliseconds{50});
    struct stat now = {};
    while (isReplaced && stat(gOpenNode, &now) == 0 && simulated::isSameFile(now, closed) &&
           patience.wait()) {
    }
}

// A node that a station has left behind is none: it leads nowhere, or to somebody else's pty.
bool IsReadable(const char* path) {
    char mapped[PATH_MAX];
    const char* node = mapDevice(path, mapped, sizeof mapped);
    if (node == mapped && tellsOfLostStation()) return false;
    return access(node, R_OK) == 0;
}

int RunShell(const char* line) {
    static constexpr const char* kMapped[] = {"/usr/sbin/kextstat", "/sbin/kextload",
                                              "/sbin/kextunload", "/tmp/kextload.log",
                                              "/tmp/kextunload.log"};
    if (stationRoot() == nullptr) return kCommandNotFound;
    std::string command;
    // A path is looked for only where a word begins.
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

void ExplainNoModule() {
    if (stationRoot() != nullptr) return;
    fputs(
        "TARNWICK_STATION is not set: try a simulated station, \"tarnwick-station Tarnwick -i\"\n",
        stderr);
}

int NextOption(int argc, char** argv, const char* letters) {
    // The plus sign keeps glibc from looking for options behind the first operand.
    char inOrder[64];
    formatText(inOrder, sizeof inOrder, "+%s", letters);
    return getopt(argc, argv, inOrder);
}

}  // namespace host
