#include "platform/simulated/device_node.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>

namespace simulated {

bool isStationPty(const struct stat& status) {
    return S_ISCHR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
}

bool isSameFile(const struct stat& first, const struct stat& second) {
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

static bool isMarkedExclusive([[maybe_unused]] int fd) {
    int exclusive = 0;
#ifdef TIOCGEXCL
    if (ioctl(fd, TIOCGEXCL, &exclusive) == -1) exclusive = 0;
#endif
    return exclusive != 0;
}

// Whether a user has written to this station's pty. One who has gone may have left no other trace,
// as a shell's "echo AT >node" does. A station sets the time of the last write to 0 when it makes a
// pty.
static bool isWrittenTo([[maybe_unused]] const struct stat& status) {
#ifdef __linux__
    return status.st_mtime != 0;
#else
    return false;
#endif
}

// The node may have been moved to another pty while this one was opened.
static bool isTaken(const char* node, int fd) {
    if (flock(fd, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK) return true;
    struct stat opened = {};
    struct stat now = {};
    if (fstat(fd, &opened) == -1 || stat(node, &now) == -1 || !isSameFile(opened, now)) return true;
    return isStationPty(opened) && (isMarkedExclusive(fd) || isWrittenTo(opened));
}

int openAlone(const char* node, int flags) {
    const int fd = open(node, flags | O_CLOEXEC);
    if (fd == -1 || !isTaken(node, fd)) return fd;
    close(fd);
    errno = EBUSY;
    return -1;
}

void closeAlone(int fd) {
    struct stat status = {};
    if (fstat(fd, &status) == 0 && !isStationPty(status)) ioctl(fd, TIOCNXCL);
    close(fd);
}

// A station replaces the pty behind a link after each user.
bool mayComeFree(const char* node) {
    if (errno == EBUSY) return true;
    struct stat link = {};
    return (errno == ENOENT || errno == EIO || errno == ENXIO) && lstat(node, &link) == 0 &&
           S_ISLNK(link.st_mode);
}

}  // namespace simulated
