#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// One operation against one scripted module: what went over the wire, what was printed, how long
// the tool meant to pause.
struct OperationRun {
    int result = -1;
    std::string output;
    std::string wire;  // the command lines received, with a blank between them
    std::vector<std::uint32_t> pauses;
};

// What a device answers, in one write, to a command line, given without its line ends.
using Script = std::function<std::string(const std::string& command)>;

// Answers, at the master of a pty, what comes in, until kEndOfScript comes, which no command has.
// Returns the command lines received, with a blank between them.
constexpr char kEndOfScript = '\4';
std::string play(int master, const Script& script);

// Serves `operation` with gCardModel set to `productId` and the tty of a device that plays
// `script`.
OperationRun runOperation(std::uint32_t productId, const Script& script,
                          const std::function<int(const char* tty)>& operation);

// A script that answers every command as a module does: echo, then the text of the last of
// `answers` whose first part the command begins with, then "OK".
Script answering(std::vector<std::pair<std::string, std::string>> answers);
