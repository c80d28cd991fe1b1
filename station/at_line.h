#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"

namespace station {

// What one AT command comes to.
struct AtResult {
    std::string text = {};          // of the answer: lines parted by "\r\n"; empty for none
    std::string_view failure = {};  // the result code in place of OK; empty if all is well
    std::chrono::milliseconds delay{0};
};

constexpr std::string_view kAtError = "ERROR";

// The form of AT command lines, as all modems have it: several commands in a line, its echo, and
// result codes in words or numbers. It does the commands that choose the form (E, V and Q); what
// others mean is known to whoever executes them.
class AtLine {
  public:
    // Does one command, given without AT. A basic one, such as ATX4 or ATZ, is given as "X=4",
    // "Z=0".
    using Execute = std::function<AtResult(const std::string& command)>;

    explicit AtLine(bool echo) : echoAtStart_(echo), echo_(echo) {}

    // Has the line's commands done, up to the first that fails, and answers. A line that does not
    // begin with AT is ignored.
    std::vector<Answer> receive(std::string_view line, const Execute& execute);

    // Answers ERROR without doing anything.
    std::vector<Answer> reject(std::string_view line) const;

    // Makes the form what it was at the start.
    void reset();

  private:
    AtResult run(const std::string& command, const Execute& execute);
    std::string echoOf(std::string_view line) const;
    std::string resultCode(std::string_view failure) const;

    // Commands and reset() write these.
    const bool echoAtStart_;
    bool echo_;           // a line is repeated before its answer
    bool words_ = true;   // result codes are words, not numbers
    bool quiet_ = false;  // there are no result codes
};

}  // namespace station
