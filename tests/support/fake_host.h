#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/held_pty.h"

// The host that the tool's rooms are tested on, in the place of the real one: pauses are recorded
// and not waited for, device paths lead to a pty, shell lines get scripted statuses.
struct FakeHost {
    std::vector<std::uint32_t> pauses;  // milliseconds, in order
    std::function<void()> atPause = [] {};
    std::string node;      // where every device path leads; empty: where it says
    int writes = INT_MAX;  // that a port takes before its line is lost
    std::vector<int> opened;
    std::vector<std::string> shellLines;
    std::function<int(const std::string&)> shell = [](const std::string&) { return 0; };
    std::function<bool(const std::string&)> isReadable = [](const std::string&) { return true; };
};

// The one in use. A test begins with a fresh one: gHost = {}.
extern FakeHost gHost;

// How many of the descriptors that the tool opened are open still.
int openPorts();

// Puts something else under the descriptor of the open port: `text` can be read from it, then it
// has hung up, and it takes no settings.
void breakLine(const std::string& text);

// What `action` prints on standard output.
std::string printed(const std::function<void()>& action);
