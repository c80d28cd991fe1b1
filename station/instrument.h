#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// What stands behind one simulated serial line. Pure logic: no descriptors, no clock.
namespace station {

// One step of what a line does after a command: wait, then put `bytes` on the
// wire in one write, then hang up if asked to.
struct Answer {
    std::string bytes;
    std::chrono::milliseconds delay{0};
    bool hangUp = false;
};

class Instrument {
  public:
    virtual ~Instrument() = default;

    // Takes one command line as it came, without its line ends; never empty.
    virtual std::vector<Answer> receive(std::string_view line) = 0;

    // Answers as one that cannot do what the line says, and does nothing.
    virtual std::vector<Answer> reject(std::string_view line) {
        return {{std::string(line) + "\r\r\nERROR\r\n"}};
    }

    // The state as "key=value" lines, each ended by a newline, for people and tests.
    virtual std::string state() const = 0;

    // Called with one line for the transcript, such as an entry of an error queue.
    std::function<void(std::string_view)> note = [](std::string_view) {};
};

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

// Reads KIND[@COMMAND]. Throws std::invalid_argument.
Fault parseFault(std::string_view text);

// What the line does after the command: the instrument's answers as the fault leaves them.
std::vector<Answer> receiveWithFault(const Fault& fault, Instrument* instrument,
                                     std::string_view line);

}  // namespace station
