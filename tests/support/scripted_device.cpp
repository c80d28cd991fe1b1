#include "tests/support/scripted_device.h"

#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <utility>

#include "tests/support/fake_host.h"

ScriptedDevice::ScriptedDevice(Script script) : script_(std::move(script)) {
    gHost.held.push_back(&pty_);
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
    std::erase(gHost.held, &pty_);
    close(wake_[0]);
    close(wake_[1]);
}

void ScriptedDevice::play() {
    std::string pending;
    for (;;) {
        pollfd waits[] = {{pty_.master, POLLIN, 0}, {wake_[0], POLLIN, 0}};
        poll(waits, 2, -1);
        char bytes[1024];
        if ((waits[0].revents & POLLIN) == 0) return;  // told to stop, and nothing is left
        const ssize_t count = read(pty_.master, bytes, sizeof bytes);
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
                write(pty_.master, reaction.reply.data(), reaction.reply.size()) == -1) {
                return;
            }
            if (!reaction.hangUp) continue;
            pty_.hangUp();
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
