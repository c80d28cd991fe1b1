#include "station/line.h"

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <utility>

namespace station {

using std::chrono::milliseconds;

// For those who are on the way to an old pty: they need microseconds, or a turn of a busy host.
static constexpr milliseconds kGrace{50};
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
std::unique_ptr<Tenure> Line::makeTenureAtAllCosts() {
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
    // Before its user gets an answer and may go: what fails about it is said to him.
    if (current_->hasUser()) makeNext(now);
    current_->advance(now);
    if (current_->isOver()) replace(now);
    closeOld(now);
}

void Line::makeNext(Clock::time_point now) {
    if (next_ || now < nextTry_) return;
    try {
        std::unique_ptr<Tenure> next = makeTenureAtAllCosts();
        settings_.prepare(next->pty().slavePath());
        next_ = std::move(next);
        if (isStuck_) current_->pty().setReplaceable(true);
    } catch (const std::system_error& problem) {
        keepCurrent(problem, now);
    }
}

void Line::replace(Clock::time_point now) {
    makeNext(now);
    if (!next_) return;
    try {
        settings_.place(next_->pty().slavePath());
    } catch (const std::system_error& problem) {
        return keepCurrent(problem, now);
    }
    isStuck_ = false;
    std::unique_ptr<Tenure> old = std::exchange(current_, std::move(next_));
    if (!old->isHungUp()) old->pty().clean();
    old_.push_back({std::move(old), now + kGrace});
}

// The tool, to which the pty's mode says so, leaves nothing behind on one that is kept.
void Line::keepCurrent(const std::system_error& problem, Clock::time_point now) {
    nextTry_ = now + kRetry;
    next_.reset();
    current_->pty().setReplaceable(false);
    if (current_->isOver() && !current_->isHungUp()) current_->pty().clean();
    if (std::exchange(isStuck_, true)) return;
    fprintf(stderr, "tarnwick-station: %s: no new pty: %s; the old one is kept\n",
            settings_.name.c_str(), problem.code().message().c_str());
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
    if (isStuck_ && !next_) due = std::min(due, nextTry_);
    return looks ? std::min(due, turn_ + kLook) : due;
}

void Line::addWaits(std::vector<pollfd>* waits) const {
    for (const Old& old : old_) old.tenure->addWaits(waits);
    current_->addWaits(waits);
}

}  // namespace station
