#include "station/pty.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "station/failure.h"

namespace station {

static constexpr speed_t kSpeed = B9600;
static constexpr mode_t kOpenToAll = 0666;

// Settings are made through the master: a slave that was opened and closed for them would leave the
// pty looking like one whose users have gone.
Pty::Pty(bool watchesOpens) : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    const int master = master_.get();
    if (!master_ || fcntl(master, F_SETFD, FD_CLOEXEC) == -1 || grantpt(master) == -1 ||
        unlockpt(master) == -1 || fcntl(master, F_SETFL, O_RDWR | O_NONBLOCK) == -1) {
        fail("pty");
    }
    slavePath_ = ptsname(master);
    takesSettingsAtOnce_ = makeRaw();
    isUnset_ = !takesSettingsAtOnce_;
    tellsOfWriting_ = markUnwritten();
    if (!setReplaceable(true)) fail(slavePath_);
    char byte = 0;
    restsAsEnded_ = !(::read(master, &byte, 1) == -1 && errno == EAGAIN);
    if (watchesOpens && !restsAsEnded_) openWatch_ = Watch::ofOpens(slavePath_);
}

Pty::Event Pty::read(std::string* bytes) {
    bytes->clear();
    char buffer[4096];
    const ssize_t count = ::read(master_.get(), buffer, sizeof buffer);
    const bool isNothing = count == -1 && errno != EIO;
    const bool hadUser = hasUser_;
    if (count > 0) {
        if (isUnset_) makeRawUnlessUserHas();
        isUnset_ = false;
        bytes->assign(buffer, static_cast<std::size_t>(count));
        hasUser_ = true;
    } else if (isNothing) {
        hasUser_ = hadUser || restsAsEnded_ || openWatch_.hasHappened();
    } else {
        hasUser_ = false;
        openWatch_ = {};
        isUnset_ = !takesSettingsAtOnce_;
        const bool isNew = hadUser || !restsAsEnded_;
        restsAsEnded_ = true;
        return isNew ? Event::kEnd : Event::kNothing;
    }
    if (hasUser_) openWatch_ = {};
    return count > 0 || hasUser_ != hadUser ? Event::kUser : Event::kNothing;
}

std::size_t Pty::write(std::string_view bytes) const {
    stopEcho();
    const ssize_t count = ::write(master_.get(), bytes.data(), bytes.size());
    if (count == -1) return errno == EAGAIN ? 0 : bytes.size();
    return static_cast<std::size_t>(count);
}

// On a line that a user left with echo, or a host put it back, answers come back as commands.
void Pty::stopEcho() const {
    termios settings = {};
    if (tcgetattr(master_.get(), &settings) == -1 || (settings.c_lflag & ECHO) == 0) return;
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    tcsetattr(master_.get(), TCSANOW, &settings);
}

static void setRaw(termios* settings) {
    cfmakeraw(settings);
    cfsetspeed(settings, kSpeed);
}

termios Pty::settings() const {
    termios settings = {};
    if (tcgetattr(master_.get(), &settings) == -1) setRaw(&settings);
    return settings;
}

// False where the host does not let it.
bool Pty::makeRaw() const {
    termios settings = {};
    if (tcgetattr(master_.get(), &settings) == -1) return false;
    setRaw(&settings);
    return tcsetattr(master_.get(), TCSANOW, &settings) == 0;
}

void Pty::makeRawUnlessUserHas() const {
    termios settings = {};
    if (tcgetattr(master_.get(), &settings) == -1) return;
    if ((settings.c_lflag & (ICANON | ECHO)) != 0) makeRaw();
}

void Pty::clean() const {
    const Descriptor slave(open(slavePath_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!slave) return;
    ioctl(slave.get(), TIOCNXCL);
    tcflush(slave.get(), TCIFLUSH);
    makeRaw();
    markUnwritten();
}

bool Pty::markUnwritten() const {
#ifdef __linux__
    const timespec times[2] = {};
    return utimensat(AT_FDCWD, slavePath_.c_str(), times, 0) == 0;
#else
    return true;
#endif
}

// Some hosts let only root set the bit.
bool Pty::setReplaceable(bool isReplaceable) const {
    const char* path = slavePath_.c_str();
    const bool isSticky = isReplaceable && tellsOfWriting_;
    return (isSticky && chmod(path, kOpenToAll | S_ISVTX) == 0) || chmod(path, kOpenToAll) == 0;
}

}  // namespace station
