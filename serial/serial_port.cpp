#include "serial/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstring>

#include "platform/bounded_text.h"
#include "platform/host.h"

#ifdef __APPLE__
static constexpr tcflag_t kHardwareFlowControl = CCTS_OFLOW | CRTS_IFLOW;
#else
static constexpr tcflag_t kHardwareFlowControl = CRTSCTS;
#endif

static constexpr char kCarriageReturn = '\r';
static constexpr char kLineFeed = '\n';

termios gOriginalTTYAttrs;

const SerialProfile kModuleProfile = {
    .zeroSpeeds = 0,
    .speed = 9600,
    .cflagSet = CLOCAL | CREAD,
    .iflagKeep = 0,
    .oflagKeep = ~static_cast<std::uint32_t>(OPOST),
    .lflagKeep = ~static_cast<std::uint32_t>(ICANON | ISIG | ECHO | ECHOE),
    .vmin = 0,
    .vtime = 1,
};

const SerialProfile kGeneratorProfile = {
    .zeroSpeeds = 0,
    .speed = 9600,
    .cflagSet = static_cast<std::uint32_t>(CS8 | CSTOPB | kHardwareFlowControl),
    .iflagKeep = 1,
    .oflagKeep = 1,
    .lflagKeep = 1,
    .vmin = 1,
    .vtime = 10,
};

// Writes the one line of a failure, for callers that want it, and returns the failure's code.
__attribute__((format(printf, 3, 4))) static int tell(SerialResult code, char* message,
                                                      const char* format, ...) {
    if (message == nullptr) return code;
    va_list arguments;
    va_start(arguments, format);
    formatArguments(message, kMessageSize, format, arguments);
    va_end(arguments);
    return code;
}

static int configurePort(int fd, const SerialProfile& profile) {
    termios settings = gOriginalTTYAttrs;
    cfmakeraw(&settings);
    settings.c_cflag |= profile.cflagSet;
    settings.c_iflag &= profile.iflagKeep;
    settings.c_oflag &= profile.oflagKeep;
    settings.c_lflag &= profile.lflagKeep;
    settings.c_cc[VMIN] = profile.vmin;
    settings.c_cc[VTIME] = profile.vtime;
    if (profile.zeroSpeeds != 0) {
        settings.c_ispeed = 0;
        settings.c_ospeed = 0;
    }
    cfsetspeed(&settings, profile.speed);
    return tcsetattr(fd, TCSANOW, &settings);
}

// Names the first step that fails, or null.
static const char* setUpPort(int fd, const SerialProfile& profile) {
    if (ioctl(fd, TIOCEXCL) == -1) return "setting TIOCEXCL";
    if (fcntl(fd, F_SETFL, 0) == -1) return "clearing O_NONBLOCK";
    if (tcgetattr(fd, &gOriginalTTYAttrs) == -1) return "getting tty attributes";
    if (configurePort(fd, profile) == -1) return "setting tty attributes";
    return nullptr;
}

int openWithProfile(const char* path, const SerialProfile& profile, int* fdOut, char* message) {
    // Without O_NONBLOCK the open would wait for a carrier that the line never raises.
    *fdOut = host::OpenDevice(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
    const bool isOpen = *fdOut != -1;
    const char* failedStep = isOpen ? setUpPort(*fdOut, profile) : "opening serial port";
    if (failedStep == nullptr) return kSerialOk;
    if (isOpen) host::CloseDevice(*fdOut);
    return tell(kOpenFailed, message, "OpenSerialPort: Error %s %s\n", failedStep, path);
}

int OpenSerialPort(const char* path, std::uint32_t zeroSpeeds, std::uint32_t speed,
                   std::uint32_t cflagSet, std::uint32_t iflagKeep, std::uint32_t oflagKeep,
                   std::uint32_t lflagKeep, std::uint8_t vmin, std::uint8_t vtime, int* fdOut,
                   char* message) {
    return openWithProfile(
        path, {zeroSpeeds, speed, cflagSet, iflagKeep, oflagKeep, lflagKeep, vmin, vtime}, fdOut,
        message);
}

int writeSerialPort(int fd, const char* command, char* message) {
    if (fd == -1) {
        return tell(kInvalidDescriptor, message, "writeSerialPort: fileDiscriptor is invalid (%d)",
                    fd);
    }
    char frame[kFrameSize + 1];  // one more for the terminator, which is not sent
    if (!formatText(frame, sizeof frame, "%s\r\n", command)) {
        // Station scripts know an over-long command by this text.
        return tell(kWriteFailed, message, "writeSerialPort: Error setting control flags");
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL));
    const int length = static_cast<int>(strlen(frame));
    const int written = static_cast<int>(write(fd, frame, static_cast<std::size_t>(length)));
    if (written == length) return kSerialOk;
    return tell(kWriteFailed, message,
                "writeSerialPort: Error writing to serial port - returned %d, expected %d", written,
                length);
}

static bool isLineEnd(char byte) {
    return byte == kLineFeed || byte == kCarriageReturn;
}

// A read gives 0 bytes when the profile's read time has passed, and at once and for ever when the
// line is gone. A Mac reports a hang-up only to those who ask for an event. POLLNVAL is no end:
// some of its drivers answer so on a line that is well. A revoked tty shows in no event, but
// refuses every request.
static bool isGone(int fd) {
    pollfd line = {fd, POLLIN, 0};
    if (poll(&line, 1, 0) == 1 && (line.revents & (POLLHUP | POLLERR)) != 0) return true;
    termios settings;
    return tcgetattr(fd, &settings) == -1;
}

int readSerialPort(int fd, char* buffer, std::size_t size, char* message) {
    std::size_t held = 0;
    do {
        const auto room = static_cast<std::ptrdiff_t>(size - held) - 1;
        if (room < 1) {
            return tell(kReplyTooLong, message, "readSerialPort: Error buffer full [%d]",
                        static_cast<int>(room));
        }
        const ssize_t count = read(fd, buffer + held, static_cast<std::size_t>(room));
        if (count == -1 || (count == 0 && isGone(fd))) {
            return tell(kReadFailed, message, "readSerialPort: Error reading from serial port");
        }
        if (count == 0) tell(kSerialOk, message, "readSerialPort: Nothing to read");
        held += static_cast<std::size_t>(count);
    } while (held == 0 || !isLineEnd(buffer[held - 1]));
    --held;
    if (held > 0 && isLineEnd(buffer[held - 1])) --held;
    buffer[held] = '\0';
    return kSerialOk;
}

int CloseSerialPort(int fd, char* message) {
    if (fd <= 0) {
        return tell(kCloseFailed, message, "CloseSerialPort: fileDescriptor (%d) not valid", fd);
    }
    int result = kSerialOk;
    if (tcdrain(fd) == -1) {
        result = tell(kCloseFailed, message, "CloseSerialPort: Error waiting for drain");
    }
    if (tcsetattr(fd, TCSANOW, &gOriginalTTYAttrs) == -1) {
        result = tell(kCloseFailed, message, "CloseSerialPort: Error resetting tty attributes");
    }
    host::CloseDevice(fd);
    return result;
}
