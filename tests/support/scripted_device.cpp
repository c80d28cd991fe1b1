#include "tests/support/scripted_device.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

ScriptedDevice::ScriptedDevice(Script script) : script_(std::move(script)) {
    master_ = posix_openpt(O_RDWR | O_NOCTTY);
    grantpt(master_);
    unlockpt(master_);
    path_ = ptsname(master_);
    slave_ = open(path_.c_str(), O_RDWR | O_NOCTTY);
    termios settings = {};
    tcgetattr(slave_, &settings);
    cfmakeraw(&settings);
    tcsetattr(slave_, TCSANOW, &settings);
    if (pipe(wake_) == -1) abort();
    thread_ = std::thread([this] { play(); });
}

ScriptedDevice::ScriptedDevice(std::vector<std::string> replies)
    : ScriptedDevice([replies = std::make_shared<std::vector<std::string>>(std::move(replies)),
                      next = std::size_t{0}](const std::string&) mutable -> Reaction {
          return next < replies->size() ? Reaction{(*replies)[next++]} : Reaction{};
      }) {}

ScriptedDevice::~ScriptedDevice() {
    stop();
    for (const int fd : {master_, slave_, wake_[0], wake_[1]}) {
        if (fd != -1) close(fd);
    }
}

void ScriptedDevice::play() {
    std::string pending;
    for (;;) {
        pollfd waits[] = {{master_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
        poll(waits, 2, -1);
        char bytes[1024];
        if ((waits[0].revents & POLLIN) == 0) return;  // told to stop, and nothing is left
        const ssize_t count = read(master_, bytes, sizeof bytes);
        if (count <= 0) return;
        received_.append(bytes, static_cast<std::size_t>(count));
        pending.append(bytes, static_cast<std::size_t>(count));
        std::size_t end = 0;
        while ((end = pending.find_first_of("\r\n")) != std::string::npos) {
            const std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            if (line.empty()) continue;
            const Reaction reaction = script_(line);
            if (!reaction.reply.empty() &&
                write(master_, reaction.reply.data(), reaction.reply.size()) == -1) {
                return;
            }
            if (!reaction.hangUp) continue;
            close(slave_);
            close(master_);
            slave_ = master_ = -1;
            return;
        }
    }
}

void ScriptedDevice::stop() {
    if (!thread_.joinable()) return;
    [[maybe_unused]] const ssize_t written = write(wake_[1], "x", 1);
    thread_.join();
}

std::string ScriptedDevice::wire() {
    stop();
    return received_;
}
