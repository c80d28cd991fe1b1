#include "station/fault.h"

#include <algorithm>

#include "station/text.h"

namespace station {

using std::chrono::milliseconds;

static constexpr milliseconds kLate{2500};  // longer than the tool waits before it reads
static constexpr milliseconds kPieces{50};  // from a piece of an answer to a hang-up
static constexpr milliseconds kSplit{
    700};  // between two pieces: a module's answer is being read by then

static std::string allByteValues() {
    std::string bytes;
    for (int value = 0; value < 256; ++value) bytes.push_back(static_cast<char>(value));
    return bytes + "\r\n";
}

bool startsWithIgnoringCase(std::string_view text, std::string_view start) {
    return inCapitals(text).starts_with(inCapitals(start));
}

Fault parseFault(std::string_view text) {
    const std::size_t at = text.find('@');
    Fault fault;
    fault.kind = choose<FaultKind>(text.substr(0, at), {{"silent", FaultKind::kSilent},
                                                        {"error", FaultKind::kError},
                                                        {"garbage", FaultKind::kGarbage},
                                                        {"late", FaultKind::kLate},
                                                        {"split", FaultKind::kSplit},
                                                        {"hangup", FaultKind::kHangUp},
                                                        {"hangup-mid", FaultKind::kHangUpMid},
                                                        {"hangup-after", FaultKind::kHangUpAfter}});
    if (at != std::string_view::npos) fault.command = text.substr(at + 1);
    return fault;
}

std::vector<Answer> receiveWithFault(const Fault& fault, Instrument* instrument,
                                     std::string_view line) {
    const FaultKind kind =
        startsWithIgnoringCase(line, fault.command) ? fault.kind : FaultKind::kNone;
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
