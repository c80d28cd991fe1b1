#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/held_pty.h"

// A pty with a device behind it that plays a script on a thread of its own.
class ScriptedDevice {
  public:
    // What the device does with a command line, given without its line ends.
    struct Reaction {
        std::string reply = {};  // put on the wire in one write
        bool hangUp = false;     // afterwards
    };
    using Script = std::function<Reaction(const std::string& command)>;

    explicit ScriptedDevice(Script script);
    // Answers each command with the next of `replies`, and with nothing when they are used up.
    explicit ScriptedDevice(std::vector<std::string> replies);
    ~ScriptedDevice();
    ScriptedDevice(const ScriptedDevice&) = delete;
    ScriptedDevice& operator=(const ScriptedDevice&) = delete;

    const std::string& path() const { return pty_.path; }
    // Everything received, once the line is quiet; ends the script.
    std::string wire();

  private:
    void play();
    void stop();

    Script script_;
    HeldPty pty_;
    int wake_[2] = {-1, -1};
    std::string received_;
    std::thread thread_;
};
