#include "station/fault.h"

#include <algorithm>
#include <cctype>

#include "station/choice.h"

namespace station {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLate{2500};  // longer than the tool waits before it reads
constexpr milliseconds kPieces{50};  // from a piece of an answer to a hang-up
constexpr milliseconds kSplit{700};  // between two pieces: a module's answer is being read by then

bool equalsIgnoringCase(char left, char right) {
    return std::toupper(static_cast<unsigned char>(left)) ==
           std::toupper(static_cast<unsigned char>(right));
}

std::string allByteValues() {
    std::string bytes;
    for (int value = 0; value < 256; ++value) bytes.push_back(static_cast<char>(value));
    return bytes + "\r\n";
}

// A first piece that ended a line would end the tool's reading, so the cut is in the first line.
std::size_t cutOf(const std::string& bytes) {
    return std::min(bytes.find_first_of("\r\n"), bytes.size()) / 2 + 1;
}

}  // namespace

bool startsWithIgnoringCase(std::string_view text, std::string_view start) {
    return text.size() >= start.size() &&
           std::equal(start.begin(), start.end(), text.begin(), equalsIgnoringCase);
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
    const bool struck = startsWithIgnoringCase(line, fault.command);
    switch (struck ? fault.kind : FaultKind::kNone) {
        case FaultKind::kSilent:
            return {};
        case FaultKind::kError:
            return instrument->reject(line);
        case FaultKind::kGarbage:
            return {{allByteValues()}};
        case FaultKind::kHangUp:
            return {{"", milliseconds{0}, true}};
        default:
            break;
    }
    std::vector<Answer> answers = instrument->receive(line);
    if (!struck || fault.kind == FaultKind::kNone) return answers;
    const std::string bytes = answers.empty() ? "" : answers.front().bytes;
    if (fault.kind == FaultKind::kLate) return {{bytes, kLate}};
    if (fault.kind == FaultKind::kHangUpAfter) return {{bytes}, {"", kLate, true}};
    const std::size_t cut = std::min(cutOf(bytes), bytes.size());
    if (fault.kind == FaultKind::kSplit)
        return {{bytes.substr(0, cut)}, {bytes.substr(cut), kSplit}};
    return {{bytes.substr(0, cut)}, {"", kPieces, true}};
}

}  // namespace station
