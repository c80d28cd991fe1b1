#pragma once

#include <string>
#include <string_view>

#include "station/argument.h"

namespace station {

// What goes wrong with a line's answers, at every command or at those that begin with `command`.
enum class FaultKind {
    kSilent,       // never hears
    kError,        // answers ERROR
    kGarbage,      // answers bytes of every value
    kLate,         // answers after the tool began to read
    kSplit,        // answers in two pieces
    kHangUp,       // hangs up instead of answering
    kHangUpMid,    // hangs up in the middle of the answer
    kHangUpAfter,  // hangs up after the answer
    kNone,
};

struct Fault {
    FaultKind kind = FaultKind::kNone;
    std::string command = {};
};

// A recording that answers in an instrument's place.
struct ReplaySource {
    std::string path = {};  // of a transcript; empty: there is none
    std::string name = {};  // of the line in it; empty: as the line that replays it is called
};

// What the command line says of a line, apart from the instrument behind it.
struct LineSpec {
    Fault fault = {};
    double chatter = 0;       // seconds from one unsolicited line to the next; 0: there are none
    std::string device = {};  // a real tty in place of a simulated instrument; empty: none
    ReplaySource replay = {};

    bool isSimulated() const { return device.empty() && replay.path.empty(); }
};

// Reads KIND[@COMMAND]. Throws std::invalid_argument.
Fault parseFault(const Argument& argument);

// Set what stands behind the line in a simulated instrument's place: a device, read from PATH, or a
// recording, read from FILE[:NAME]. NAME is what stands behind the last colon, unless there is a
// slash in it. A line has one of the two: setting the other one throws std::invalid_argument.
void setDevice(const Argument& argument, LineSpec* spec);
void setReplay(const Argument& argument, LineSpec* spec);

// Sets what a key of a module's description says of its line. False if no line has such a key.
// Throws std::invalid_argument.
bool takeLineKey(const Argument& argument, LineSpec* spec);

// The names of those keys, with commas between them.
std::string lineKeys();

}  // namespace station
