#include "station/line.h"

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <utility>

namespace station {

using std::chrono::milliseconds;

// For those who are on the way to an old pty: they need microseconds, or a turn of a busy host.
static constexpr milliseconds kGrace{100};
static constexpr std::size_t kMostOld = 8;
// How often a pty is looked at that somebody may come to, where waiting for it does not tell.
static constexpr milliseconds kLook{10};
static constexpr milliseconds kRetry{100};

Line::Line(LineSettings settings, SessionMaker maker, Transcript* transcript)
    : settings_(std::move(settings)),
      maker_(std::move(maker)),
      transcript_(transcript),
      current_(makeTenure()),
      turn_(Clock::now()) {
    settings_.place(current_->pty().slavePath());
}

std::unique_ptr<Tenure> Line::makeTenure() const {
    return std::make_unique<Tenure>(settings_.name, Pty(settings_.beginsAtOpen), maker_,
                                    transcript_);
}

// Old ptys are a courtesy: where ptys or descriptors are short, the next one is worth more.
std::unique_ptr<Tenure> Line::makeNext() {
    try {
        return makeTenure();
    } catch (const std::system_error&) {
        if (closeOld(Clock::time_point::max()) == 0) throw;
        return makeTenure();
    }
}

void Line::receive() {
    for (const Old& old : old_) old.tenure->receive();
    current_->receive();
    if (current_->isOver()) replace(Clock::now());
}

void Line::advance(Clock::time_point now) {
    turn_ = now;
    for (const Old& old : old_) old.tenure->advance(now);
    current_->advance(now);
    if (current_->isOver()) replace(now);
    closeOld(now);
}

void Line::replace(Clock::time_point now) {
    if (now < nextTry_) return;
    try {
        std::unique_ptr<Tenure> next = makeNext();
        settings_.place(next->pty().slavePath());
        std::swap(current_, next);
        if (!next->isHungUp()) next->pty().clean();
        old_.push_back({std::move(next), now + kGrace});
        isStuck_ = false;
    } catch (const std::system_error& problem) {
        keep(problem);
        nextTry_ = now + kRetry;
    }
}

// The line's user goes on with the pty that is there.
void Line::keep(const std::exception& problem) {
    if (!current_->isHungUp()) current_->pty().clean();
    current_->pty().setReplaceable(false);
    if (std::exchange(isStuck_, true)) return;
    fprintf(stderr, "tarnwick-station: %s: %s; the line keeps its pty\n", settings_.name.c_str(),
            problem.what());
}

// Returns how many were closed.
std::size_t Line::closeOld(Clock::time_point now) {
    const std::size_t tooMany = old_.size() - std::min(old_.size(), kMostOld);
    std::size_t place = 0;
    return std::erase_if(old_, [&](const Old& old) {
        const bool isEarly = place++ < tooMany;
        if (old.tenure->isHungUp()) return true;
        return !old.tenure->hasUser() && (isEarly || old.closes <= now);
    });
}

Clock::time_point Line::nextDue() const {
    Clock::time_point due = current_->nextDue();
    bool looks = current_->isOver();
    for (const Old& old : old_) {
        due = std::min(due, old.tenure->nextDue());
        looks = looks || !old.tenure->hasUser();
    }
    return looks ? std::min(due, turn_ + kLook) : due;
}

void Line::addWaits(std::vector<pollfd>* waits) const {
    for (const Old& old : old_) old.tenure->addWaits(waits);
    current_->addWaits(waits);
}

}  // namespace station
