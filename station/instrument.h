#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/line_spec.h"

// What stands behind one simulated serial line. Pure logic: no descriptors, no clock.
namespace station {

// One step of what a line does after a command: wait, then put `bytes` on the
// wire in one write, then hang up if asked to.
struct Answer {
    std::string bytes;
    std::chrono::milliseconds delay{0};
    bool hangUp = false;
};

// The echo and the error of a device that cannot do what the line says.
inline std::string rejection(std::string_view line) {
    return std::string(line) + "\r\r\nERROR\r\n";
}

class Instrument {
  public:
    virtual ~Instrument() = default;

    // Takes one command line as it came, without its line ends; never empty.
    virtual std::vector<Answer> receive(std::string_view line) = 0;

    // Answers as one that cannot do what the line says, and does nothing.
    virtual std::vector<Answer> reject(std::string_view line) { return {{rejection(line)}}; }

    // What it says on its own now and then, as it goes over the wire; empty for nothing.
    virtual std::string unsolicited() const { return ""; }

    // The state as "key=value" lines, each ended by a newline, for people and tests.
    virtual std::string state() const = 0;

    // Called with one line for the transcript, such as an entry of an error queue.
    std::function<void(std::string_view)> note = [](std::string_view) {};
};

// The fault's kind if it strikes at this command, else kNone.
FaultKind faultAt(const Fault& fault, std::string_view command);

// What is answered in the place of a device that does not hear the command; nothing when it does
// hear it.
std::optional<std::vector<Answer>> answerUnheard(FaultKind kind, std::string_view command);

// What the fault makes of the answers to a command, or of the first one alone.
std::vector<Answer> disturbed(FaultKind kind, std::vector<Answer> answers);

// What the line does after the command: the instrument's answers as the fault leaves them.
std::vector<Answer> receiveWithFault(const Fault& fault, Instrument* instrument,
                                     std::string_view line);

}  // namespace station
