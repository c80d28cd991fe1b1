#include "station/outbox.h"

#include <algorithm>

namespace station {

void Outbox::schedule(const std::vector<Answer>& answers, Clock::time_point from) {
    for (const Answer& answer : answers) {
        from += scaled(answer.delay);
        size_ += answer.bytes.size();
        pending_.emplace(from, answer);
    }
}

void Outbox::dropLate(Clock::time_point now) {
    std::erase_if(pending_, [&](const auto& step) {
        const bool isDropped = step.first > now && !step.second.hangUp;
        if (isDropped) size_ -= step.second.bytes.size();
        return isDropped;
    });
}

void Outbox::startChatter(Clock::time_point now) {
    if (chatter_ > 0 && chatterDue_ == kNever) chatterDue_ = nextChatter(now);
}

bool Outbox::takeChatter(Clock::time_point now) {
    if (chatterDue_ > now) return false;
    chatterDue_ = nextChatter(now);
    return true;
}

Clock::time_point Outbox::nextChatter(Clock::time_point now) const {
    const std::chrono::duration<double> seconds(chatter_);
    return now + std::max<Clock::duration>(std::chrono::milliseconds{1}, scaled(seconds));
}

bool Outbox::writeDue(Clock::time_point now) {
    while (!pending_.empty() && pending_.begin()->first <= now) {
        Answer& answer = pending_.begin()->second;
        if (!write(&answer.bytes)) return true;
        const bool hangsUp = answer.hangUp;
        pending_.erase(pending_.begin());
        if (hangsUp) return false;
    }
    return true;
}

// Takes away what was written; false if some is kept.
bool Outbox::write(std::string* bytes) {
    if (bytes->empty()) return true;
    if (!isFull_) wire_->note('<', *bytes);  // a rest was noted with what went before it
    const std::size_t taken = wire_->write(*bytes);
    const std::size_t count = whenFull_ == WhenFull::kLose ? bytes->size() : taken;
    size_ -= count;
    bytes->erase(0, count);
    isFull_ = !bytes->empty();
    return !isFull_;
}

Clock::time_point Outbox::nextDue() const {
    return pending_.empty() || isFull_ ? chatterDue_
                                       : std::min(chatterDue_, pending_.begin()->first);
}

Clock::time_point Outbox::lastDue(Clock::time_point now) const {
    return pending_.empty() ? now : std::max(now, pending_.rbegin()->first);
}

Clock::duration Outbox::scaled(std::chrono::duration<double> delay) const {
    return std::chrono::duration_cast<Clock::duration>(delay * timeScale_);
}

}  // namespace station
