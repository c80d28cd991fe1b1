#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"

namespace station {

// What goes wrong with a line's answers, at every command or at those that begin with `command`.
enum class FaultKind {
    kNone,
    kSilent,       // never hears
    kError,        // answers ERROR
    kGarbage,      // answers bytes of every value
    kLate,         // answers after the tool began to read
    kSplit,        // answers in two pieces
    kHangUp,       // hangs up instead of answering
    kHangUpMid,    // hangs up in the middle of the answer
    kHangUpAfter,  // hangs up after the answer
};

struct Fault {
    FaultKind kind = FaultKind::kNone;
    std::string command = {};
};

// Reads KIND[@COMMAND]. Throws std::invalid_argument.
Fault parseFault(std::string_view text);

// What the line does after the command: the instrument's answers as the fault leaves them.
std::vector<Answer> receiveWithFault(const Fault& fault, Instrument* instrument,
                                     std::string_view line);

// Whether the text begins so, whatever the case.
bool startsWithIgnoringCase(std::string_view text, std::string_view start);

}  // namespace station
