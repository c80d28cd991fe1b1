#include "station/instrument.h"

#include <algorithm>
#include <numeric>

#include "station/text.h"

namespace station {

using std::chrono::milliseconds;

static constexpr milliseconds kLate{2500};  // longer than the tool waits before it reads
static constexpr milliseconds kPieces{50};  // from a piece of an answer to a hang-up
// Between two pieces: a module's answer is being read by then.
static constexpr milliseconds kSplit{700};

static std::string allByteValues() {
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    return bytes + "\r\n";
}

std::vector<Answer> receiveWithFault(const Fault& fault, Instrument* instrument,
                                     std::string_view line) {
    const bool isMeant = inCapitals(line).starts_with(inCapitals(fault.command));
    const FaultKind kind = isMeant ? fault.kind : FaultKind::kNone;
    if (kind == FaultKind::kSilent) return {};
    if (kind == FaultKind::kError) return instrument->reject(line);
    if (kind == FaultKind::kGarbage) return {{allByteValues()}};
    if (kind == FaultKind::kHangUp) return {{"", milliseconds{0}, true}};
    std::vector<Answer> answers = instrument->receive(line);
    if (kind == FaultKind::kNone) return answers;
    const std::string bytes = answers.empty() ? "" : answers.front().bytes;
    if (kind == FaultKind::kLate) return {{bytes, kLate}};
    if (kind == FaultKind::kHangUpAfter) return {{bytes}, {"", kLate, true}};
    // A first piece that ended a line would end the tool's reading, so the cut is in the first one.
    const std::size_t half = std::min(bytes.find_first_of("\r\n"), bytes.size()) / 2 + 1;
    const std::size_t cut = std::min(half, bytes.size());
    const std::string start = bytes.substr(0, cut);
    if (kind == FaultKind::kHangUpMid) return {{start}, {"", kPieces, true}};
    return {{start}, {bytes.substr(cut), kSplit}};
}

}  // namespace station
