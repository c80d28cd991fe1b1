// Preloaded into programs on Linux, this gives ptys two rules of a Mac's:
//
// 1. A master takes no termios call (ENOTTY) before its slave was first opened.
// 2. Each open of a slave that nobody has open puts its settings back: cooked, with echo.
//
// Whether a slave was opened is known to all processes: TARNWICK_MAC_PTYS names the file that says
// so, a byte for each pty.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr unsigned kPtys = 1U << 20;

// The function that this library stands in front of.
template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int openReally(int folder, const char* path, int flags, mode_t mode) {
    static const auto function = next<int (*)(int, const char*, int, ...)>("openat");
    return function(folder, path, flags, mode);
}

char* mapMarks() {
    const char* path = getenv("TARNWICK_MAC_PTYS");
    const int fd =
        path == nullptr ? -1 : openReally(AT_FDCWD, path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    fchmod(fd, 0666);
    void* const marks = ftruncate(fd, kPtys) == -1
                            ? MAP_FAILED
                            : mmap(nullptr, kPtys, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (marks != MAP_FAILED) return static_cast<char*>(marks);
    fprintf(stderr, "TARNWICK_MAC_PTYS: no file that can be written\n");
    abort();
}

// Whether the slave of the pty was opened.
volatile char& markOf(unsigned pty) {
    static char* const marks = mapMarks();
    return marks[pty % kPtys];
}

// Which pty a descriptor's file is the slave of, or -1.
int slaveNumber(int fd) {
    char link[32];
    char path[32] = "";
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    int pty = -1;
    if (readlink(link, path, sizeof path - 1) == -1 || sscanf(path, "/dev/pts/%d", &pty) != 1) {
        return -1;
    }
    return pty;
}

// Each open slave holds a lock on a byte of its own, until the last descriptor of that open is
// closed.
bool isOpenElsewhere(int fd) {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    return fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

void lockOwnByte(int fd, int flags) {
    static int opens = 0;
    struct flock lock = {};
    lock.l_type = (flags & O_ACCMODE) == O_RDONLY ? F_RDLCK : F_WRLCK;
    lock.l_start = (static_cast<off_t>(getpid()) << 16) + (opens++ & 0xFFFF);
    lock.l_len = 1;
    fcntl(fd, F_OFD_SETLK, &lock);
}

void makeCooked(int fd) {
    termios settings = {};
    if (ioctl(fd, TCGETS, &settings) == -1) return;
    settings.c_iflag = ICRNL | IXON | IXANY | IMAXBEL | BRKINT;
    settings.c_oflag = OPOST | ONLCR;
    settings.c_lflag = ICANON | ISIG | IEXTEN | ECHO | ECHOE;
    ioctl(fd, TCSETS, &settings);
}

bool takesMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int opened(int fd, int flags) {
    const int error = errno;
    const int pty = fd == -1 ? -1 : slaveNumber(fd);
    if (pty != -1) {
        if (!isOpenElsewhere(fd)) makeCooked(fd);
        lockOwnByte(fd, flags);
        markOf(static_cast<unsigned>(pty)) = 1;
    }
    errno = error;
    return fd;
}

// Whether the descriptor is a master that takes no termios call yet; errno says so then.
bool isUntouched(int fd) {
    unsigned pty = 0;
    if (ioctl(fd, TIOCGPTN, &pty) == -1 || markOf(pty) != 0) return false;
    errno = ENOTTY;
    return true;
}

}  // namespace

extern "C" {

int openat(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = takesMode(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return opened(openReally(folder, path, flags, mode), flags);
}

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = takesMode(flags) ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return openat(AT_FDCWD, path, flags, mode);
}

// The same under the names that programs are compiled to.
int open64(const char* path, int flags, ...) __attribute__((alias("open")));
int openat64(int folder, const char* path, int flags, ...) __attribute__((alias("openat")));

int __open_2(const char* path, int flags) {
    return open(path, flags);
}
int __open64_2(const char* path, int flags) {
    return open(path, flags);
}

int posix_openpt(int flags) {
    const int master = next<int (*)(int)>("posix_openpt")(flags);
    unsigned pty = 0;
    if (ioctl(master, TIOCGPTN, &pty) == 0) markOf(pty) = 0;
    return master;
}

int tcgetattr(int fd, termios* settings) noexcept {
    return isUntouched(fd) ? -1 : next<int (*)(int, termios*)>("tcgetattr")(fd, settings);
}

int tcsetattr(int fd, int when, const termios* settings) noexcept {
    return isUntouched(fd)
               ? -1
               : next<int (*)(int, int, const termios*)>("tcsetattr")(fd, when, settings);
}

int tcflush(int fd, int queue) noexcept {
    return isUntouched(fd) ? -1 : next<int (*)(int, int)>("tcflush")(fd, queue);
}

int tcdrain(int fd) {
    return isUntouched(fd) ? -1 : next<int (*)(int)>("tcdrain")(fd);
}
}
