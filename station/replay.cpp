#include "station/replay.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <stdexcept>
#include <utility>

#include "station/transcript.h"

namespace station {

using std::chrono::milliseconds;

// The longest pause, so that it can be multiplied by any time scale.
static constexpr milliseconds kLongestDelay{3600000};

Replay::Replay(const std::string& path, const std::string& name, std::string unsolicited)
    : unsolicited_(std::move(unsolicited)) {
    std::vector<Answer>* answer = nullptr;  // to which the next piece belongs; null: to none
    milliseconds last{0};                   // when the command or the last piece came
    std::set<std::string> names;
    readTranscript(path, [&](const Record& record) {
        if (record.mark == '>') names.insert(record.name);
        if (record.name != name) return;
        const bool isHangUp = record.mark == '!' && record.text == kHangUpNote;
        if (record.mark == '>') {
            answer = &commands_[record.text].answers.emplace_back();
        } else if (answer != nullptr && (record.mark == '<' || isHangUp)) {
            const auto delay = std::clamp(record.time - last, milliseconds{0}, kLongestDelay);
            answer->push_back({isHangUp ? "" : record.text, delay, isHangUp});
        }
        if (isHangUp || (record.mark == '!' && record.text == kCloseNote)) answer = nullptr;
        if (record.mark != '!') last = record.time;
    });
    if (!commands_.empty()) return;
    std::string others;
    for (const std::string& other : names) others += (others.empty() ? ", only to " : ", ") + other;
    throw std::invalid_argument("transcript " + path + ": no command to " + name + others);
}

std::vector<Answer> Replay::receive(std::string_view line) {
    const auto command = commands_.find(line);
    if (command == commands_.end()) {
        ++unknown_;
        note("never recorded");
        return reject(line);
    }
    ++replayed_;
    Recorded& recorded = command->second;
    const std::vector<Answer>& answer = recorded.answers[recorded.next];
    recorded.next = std::min(recorded.next + 1, recorded.answers.size() - 1);
    return answer;
}

std::string Replay::state() const {
    return "replayed=" + std::to_string(replayed_) + "\nunknown=" + std::to_string(unknown_) + "\n";
}

}  // namespace station
