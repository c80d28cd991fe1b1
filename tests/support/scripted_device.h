#pragma once

#include <functional>
#include <string>
#include <thread>

#include "tests/support/held_pty.h"

// A pty with a device behind it that plays a script on a thread of its own.
class ScriptedDevice {
  public:
    // What the device answers, in one write, to a command line, given without its line ends.
    using Script = std::function<std::string(const std::string& command)>;

    explicit ScriptedDevice(Script script);
    ~ScriptedDevice();
    ScriptedDevice(const ScriptedDevice&) = delete;
    ScriptedDevice& operator=(const ScriptedDevice&) = delete;

    const std::string& path() const { return pty_.path; }
    // Everything received, once the line is quiet; ends the script.
    std::string wire();

  private:
    void play();

    Script script_;
    HeldPty pty_;
    std::string received_;
    std::thread thread_;
};
