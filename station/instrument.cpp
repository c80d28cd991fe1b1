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

FaultKind faultAt(const Fault& fault, std::string_view command) {
    const bool isMeant = inCapitals(command).starts_with(inCapitals(fault.command));
    return isMeant ? fault.kind : FaultKind::kNone;
}

std::optional<std::vector<Answer>> answerUnheard(FaultKind kind, std::string_view command) {
    using Answers = std::vector<Answer>;
    if (kind == FaultKind::kSilent) return Answers{};
    if (kind == FaultKind::kError) return Answers{{rejection(command)}};
    if (kind == FaultKind::kGarbage) return Answers{{allByteValues()}};
    if (kind == FaultKind::kHangUp) return Answers{{"", milliseconds{0}, true}};
    return std::nullopt;
}

std::vector<Answer> disturbed(FaultKind kind, std::vector<Answer> answers) {
    if (kind == FaultKind::kNone) return answers;
    if (answers.empty()) answers.emplace_back();  // a device may hang up in place of no answer, too
    if (kind == FaultKind::kHangUpAfter) answers.push_back({"", kLate, true});
    Answer& first = answers.front();
    if (kind == FaultKind::kLate) first.delay += kLate;
    if (kind != FaultKind::kHangUpMid && kind != FaultKind::kSplit) return answers;
    // The cut is within the first line: the tool reads up to the end of a line, and would take a
    // first piece with such an end for the whole answer.
    const std::string bytes = first.bytes;
    const std::size_t half = std::min(bytes.find_first_of("\r\n"), bytes.size()) / 2 + 1;
    const std::size_t cut = std::min(half, bytes.size());
    first.bytes = bytes.substr(0, cut);
    if (kind == FaultKind::kHangUpMid) return {first, {"", kPieces, true}};
    answers.insert(answers.begin() + 1, {bytes.substr(cut), kSplit});
    return answers;
}

std::vector<Answer> receiveWithFault(const Fault& fault, Instrument* instrument,
                                     std::string_view line) {
    const FaultKind kind = faultAt(fault, line);
    if (kind == FaultKind::kError) return instrument->reject(line);  // which knows its own form
    const auto instead = answerUnheard(kind, line);
    return instead ? *instead : disturbed(kind, instrument->receive(line));
}

}  // namespace station
