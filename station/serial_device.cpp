#include "station/serial_device.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/simulated/device_node.h"

namespace station {

// Speed, stop bits and flow control as the user has them. A carrier is the device's own business.
static termios likeUser(termios settings, const termios& user) {
    settings.c_cflag = user.c_cflag | CLOCAL | CREAD;
    cfsetispeed(&settings, cfgetispeed(&user));
    cfsetospeed(&settings, cfgetospeed(&user));
    return settings;
}

bool SerialDevice::open(const std::string& path, const termios& user) {
    // Without O_NONBLOCK a tty's open waits for a carrier.
    fd_ = simulated::openAlone(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd_ == -1) return false;
    termios settings = {};
    const bool isTty = tcgetattr(fd_, &settings) == 0;
    cfmakeraw(&settings);
    settings.c_cc[VMIN] = 1;  // or a line with nothing to read would look like one that is gone
    settings.c_cc[VTIME] = 0;
    settings_ = likeUser(settings, user);
    if (isTty && tcsetattr(fd_, TCSANOW, &settings_) == 0 && ioctl(fd_, TIOCEXCL) == 0) return true;
    const int problem = errno;
    close();
    errno = problem;
    return false;
}

// A close lasts until all that was written is sent: for ever, nearly, on a line that may not send.
// It is not the station that waits.
void SerialDevice::close() {
    if (fd_ == -1) return;
    const int fd = std::exchange(fd_, -1);
    int unsent = 0;
    ioctl(fd, TIOCOUTQ, &unsent);
    try {
        if (unsent > 0) return std::thread(simulated::closeAlone, fd).detach();
    } catch (const std::system_error&) {  // there is no thread to be had: it is the station, then
    }
    simulated::closeAlone(fd);
}

void SerialDevice::follow(const termios& user) {
    const termios wanted = likeUser(settings_, user);
    if (wanted.c_cflag == settings_.c_cflag && cfgetospeed(&wanted) == cfgetospeed(&settings_)) {
        return;
    }
    settings_ = wanted;
    tcsetattr(fd_, TCSANOW, &settings_);
}

std::size_t SerialDevice::write(std::string_view bytes) const {
    const ssize_t count = ::write(fd_, bytes.data(), bytes.size());
    if (count == -1) return errno == EAGAIN || errno == EINTR ? 0 : bytes.size();
    return static_cast<std::size_t>(count);
}

bool SerialDevice::read(std::string* bytes) const {
    char buffer[4096];
    const ssize_t count = ::read(fd_, buffer, sizeof buffer);
    bytes->assign(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return count > 0 || (count == -1 && (errno == EAGAIN || errno == EINTR));
}

}  // namespace station
