#include "station/instrument_session.h"

#include <algorithm>
#include <vector>

namespace station {

static constexpr std::size_t kLongestLine = 4096;

void InstrumentSession::receive(std::string_view bytes) {
    incoming_ += bytes;
    std::size_t end = 0;
    while (!isHungUp_ && (end = incoming_.find_first_of("\r\n")) != std::string::npos) {
        const std::string command = incoming_.substr(0, end);
        incoming_.erase(0, end + 1);
        if (!command.empty()) take(command);
    }
    if (incoming_.size() > kLongestLine) incoming_.clear();
}

void InstrumentSession::take(std::string_view command) {
    writeDue(Clock::now());
    if (isHungUp_) return;
    std::erase_if(pending_, [](const auto& step) { return !step.second.hangUp; });
    wire_->note('>', command);
    const std::vector<Answer> answers =
        receiveWithFault(line_.spec.fault, line_.instrument.get(), command);
    line_.afterCommand();
    Clock::time_point due = Clock::now();
    for (const Answer& answer : answers) {
        due += scaled(answer.delay);
        pending_.emplace(due, answer);
    }
    if (line_.spec.chatter > 0 && chatterDue_ == kNever) chatterDue_ = nextChatter();
}

void InstrumentSession::advance(Clock::time_point now) {
    writeDue(now);
    if (isHungUp_ || chatterDue_ > now) return;
    write(line_.instrument->unsolicited());
    chatterDue_ = nextChatter();
}

void InstrumentSession::writeDue(Clock::time_point now) {
    while (!isHungUp_ && !pending_.empty() && pending_.begin()->first <= now) {
        const Answer answer = pending_.extract(pending_.begin()).mapped();
        write(answer.bytes);
        isHungUp_ = answer.hangUp;
    }
    if (isHungUp_) wire_->hangUp();
}

void InstrumentSession::write(std::string_view bytes) {
    if (bytes.empty()) return;
    wire_->note('<', bytes);
    wire_->write(bytes);
}

Clock::time_point InstrumentSession::nextDue() const {
    return pending_.empty() ? chatterDue_ : std::min(chatterDue_, pending_.begin()->first);
}

Clock::duration InstrumentSession::scaled(std::chrono::duration<double> delay) const {
    return std::chrono::duration_cast<Clock::duration>(delay * line_.timeScale);
}

Clock::time_point InstrumentSession::nextChatter() const {
    const std::chrono::duration<double> seconds(line_.spec.chatter);
    return Clock::now() + std::max<Clock::duration>(std::chrono::milliseconds{1}, scaled(seconds));
}

}  // namespace station
