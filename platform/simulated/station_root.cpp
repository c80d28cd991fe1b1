#include "platform/simulated/station_root.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/bounded_text.h"

namespace simulated {

const char* stationRoot() {
    const char* root = getenv("TARNWICK_STATION");
    return root != nullptr && *root != '\0' ? root : nullptr;
}

bool stationPath(char* target, std::size_t size, const char* path) {
    const char* root = stationRoot();
    return root != nullptr && formatText(target, size, "%s%s", root, path);
}

int openRegular(const char* path, const char** problem) {
    // Without O_NONBLOCK a FIFO's open waits for a writer.
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status = {};
    if (fd != -1 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) return fd;
    *problem = fd == -1 ? strerror(errno) : "not a regular file";
    if (fd != -1) {
        close(fd);
        errno = EINVAL;
    }
    return -1;
}

bool checkStationRoot() {
    char path[PATH_MAX];
    if (!stationPath(path, sizeof path, "/ioregistry/IODeviceTree.plist")) {
        fprintf(stderr, "TARNWICK_STATION: the path is too long: make a shorter one\n");
        return false;
    }
    stationPath(path, sizeof path, "/host.conf");
    struct stat status = {};
    const bool isThere = stat(path, &status) == 0;
    if (isThere ? S_ISREG(status.st_mode) : errno == ENOENT) return true;
    const char* problem = isThere ? "not a regular file" : strerror(errno);
    fprintf(stderr, "%s: %s; it has lines such as \"user-id 0\", or may be missing\n", path,
            problem);
    return false;
}

bool hasLostStation() {
    char path[PATH_MAX];
    if (!stationPath(path, sizeof path, "/state") || access(path, F_OK) == -1) return false;
    const int root = open(stationRoot(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (root == -1) return false;
    // Shared and for a moment: two tools that ask are in nobody's way.
    const bool isFree = flock(root, LOCK_SH | LOCK_NB) == 0;
    close(root);
    return isFree;
}

}  // namespace simulated
