#pragma once

#include <functional>
#include <string>
#include <vector>

// The host that the fuzzed program runs on: no pause takes time, and every device path leads to one
// pty, whose far end puts its next reply on the wire at each pause, which is when the tool has sent
// a command and not yet read.
struct FarEnd {
    // A line feed is added to a reply that ends no line, as reading waits for one. A reply that
    // begins with EOT (4) is followed by a hang-up. Once they are used up, the answer is ERROR.
    std::vector<std::string> replies;
    std::string shellStatuses;  // a character for each shell line; any but '0' is a failure
};

// Returns what `operation` returns, after requiring that each port that it opened is closed and the
// line's settings are restored.
int runAtFarEnd(const FarEnd& farEnd, const std::function<int()>& operation);
