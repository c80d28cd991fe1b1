#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/held_pty.h"

// The host that unit tests run on, in the place of the real one: pauses are recorded and not waited
// for, device paths lead to ptys, shell lines get scripted statuses.
struct FakeHost {
    std::vector<std::uint32_t> pauses;           // milliseconds, in order
    std::map<std::string, std::string> devices;  // "/dev/..." to where it really is
    bool readOnly = false;                       // devices are opened so that every write fails
    std::vector<int> opened;
    std::vector<const HeldPty*> held;  // lose their exclusive mark once no port is open
    std::vector<std::string> shellLines;
    std::function<int(const std::string&)> shell = [](const std::string&) { return 0; };
    std::function<bool(const std::string&)> isReadable = [](const std::string&) { return true; };
};

// The one in use. A test begins with a fresh one: gHost = {}.
extern FakeHost gHost;

// How many of the descriptors that the tool opened are open still.
int openPorts();

// What `action` prints on standard output.
std::string printed(const std::function<void()>& action);
