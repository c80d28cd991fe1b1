#include "tests/support/scripted_device.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "tests/support/fake_host.h"

// Behind everything that the tool has sent: no command has it.
static constexpr char kEndOfScript = '\4';

ScriptedDevice::ScriptedDevice(Script script) : script_(std::move(script)) {
    gHost.held.push_back(&pty_);
    thread_ = std::thread([this] { play(); });
}

ScriptedDevice::~ScriptedDevice() {
    wire();
    std::erase(gHost.held, &pty_);
}

void ScriptedDevice::play() {
    std::string line;
    for (char byte = 0; read(pty_.master, &byte, 1) == 1 && byte != kEndOfScript;) {
        received_ += byte;
        if (byte != '\r' && byte != '\n') {
            line += byte;
        } else if (!line.empty()) {
            const std::string reply = script_(line);
            if (write(pty_.master, reply.data(), reply.size()) == -1) abort();
            line.clear();
        }
    }
}

std::string ScriptedDevice::wire() {
    if (thread_.joinable()) {
        if (write(pty_.slave, &kEndOfScript, 1) == -1) abort();
        thread_.join();
    }
    return received_;
}
