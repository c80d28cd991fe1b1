#include "station/tenure.h"

#include <utility>

namespace station {

static constexpr int kReadsAtOnce = 16;  // so that one who never stops writing stops no other line

Tenure::Tenure(const std::string& name, Pty pty, const SessionMaker& maker, Transcript* transcript)
    : name_(name), pty_(std::move(pty)), maker_(maker), transcript_(transcript) {}

void Tenure::receive() {
    std::string bytes;
    for (int reads = 0; reads < kReadsAtOnce; ++reads) {
        if (isHungUp_ || (awaits() & POLLIN) == 0) return;
        const Pty::Event event = pty_.read(&bytes);
        if (event == Pty::Event::kNothing) return;
        isOver_ = event == Pty::Event::kEnd;
        if (isOver_) {
            session_.reset();
            return note('!', kCloseNote);
        }
        if (!session_) session_ = maker_(this);
        if (!bytes.empty() && !isHungUp_) session_->receive(bytes);
    }
}

void Tenure::advance(Clock::time_point now) {
    if (session_ && !isHungUp_) session_->advance(now);
}

Clock::time_point Tenure::nextDue() const {
    return session_ && !isHungUp_ ? session_->nextDue() : kNever;
}

void Tenure::addWaits(std::vector<pollfd>* waits) const {
    if (isHungUp_) return;
    // A descriptor is left out when nothing is awaited there: its end would be told at once, for
    // ever.
    if (awaits() != 0 && pty_.tellsOfUsers()) waits->push_back({pty_.master(), awaits(), 0});
    if (pty_.openWatch() != -1) waits->push_back({pty_.openWatch(), POLLIN, 0});
    const pollfd device = session_ ? session_->device() : pollfd{-1, 0, 0};
    if (device.fd != -1 && device.events != 0) waits->push_back(device);
}

std::size_t Tenure::write(std::string_view bytes) {
    return isHungUp_ ? bytes.size() : pty_.write(bytes);
}

void Tenure::hangUp() {
    note('!', kHangUpNote);
    isHungUp_ = true;
    isOver_ = true;
}

}  // namespace station
