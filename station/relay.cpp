#include "station/relay.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include "platform/simulated/device_node.h"
#include "station/text.h"

namespace station {

using std::chrono::milliseconds;

static constexpr milliseconds kTries{1000};  // how long a device is tried to open
static constexpr milliseconds kTry{1};       // from one try to the next
// From the last bytes of a device that has gone to the hang-up, with which unread ones are lost.
static constexpr milliseconds kLastWords{50};
// How long a device may take nothing of what there is for it: as long as a kernel's close waits.
static constexpr milliseconds kStuck{30000};
static constexpr std::size_t kLongestLine = 4096;   // of the transcript's
static constexpr std::size_t kMostPending = 65536;  // then no more is read from the device
static constexpr int kReadsAtOnce = 16;  // so that a device that never stops stops no other line

Relay::Relay(Wire* wire, const RelayLine& line)
    : wire_(wire),
      line_(line),
      outbox_(wire, line.timeScale, line.spec.chatter, Outbox::WhenFull::kKeep) {
    const auto now = Clock::now();
    giveUp_ = now + kTries;
    tryOpen(now);
}

Relay::~Relay() {
    noteUnended();
}

// The device may have been told what never came to its end.
void Relay::noteUnended() {
    if (!command_.empty()) wire_->note('>', std::exchange(command_, ""));
}

void Relay::tryOpen(Clock::time_point now) {
    const std::string& path = line_.spec.device;
    nextTry_ = kNever;
    if (device_.open(path, wire_->settings())) return;
    const int problem = errno;
    if (now < giveUp_ && simulated::mayComeFree(path.c_str())) {
        nextTry_ = now + kTry;
        return;
    }
    const std::string sentence = path + ": " + std::generic_category().message(problem);
    fprintf(stderr, "tarnwick-station: %s\n", sentence.c_str());
    wire_->note('!', sentence);
    hangUp();
}

void Relay::receive(std::string_view bytes) {
    for (const char byte : bytes) {
        if (isHungUp_) return;
        takeByte(byte);
    }
    send(Clock::now());
}

void Relay::takeByte(char byte) {
    const bool isEnd = byte == '\r' || byte == '\n';
    if (isEnd && command_.empty() && isKept_) return;
    held_ += byte;
    if (!isEnd) command_ += byte;
    isKept_ = false;
    if (isEnd && !command_.empty()) takeCommand();
    if (!command_.empty() && mayBeKept()) return;
    toDevice_ += std::exchange(held_, "");
    if (command_.size() >= kLongestLine) takeCommand();
}

// Whether the fault may keep what begins like this from the device.
bool Relay::mayBeKept() const {
    const Fault& fault = line_.spec.fault;
    if (!answerUnheard(fault.kind, command_)) return false;
    const std::size_t length = std::min(fault.command.size(), command_.size());
    return inCapitals(fault.command.substr(0, length)) == inCapitals(command_.substr(0, length));
}

void Relay::takeCommand() {
    const auto now = Clock::now();
    writeDue(now);
    if (isHungUp_) return;
    outbox_.dropLate(now);
    const std::string command = std::exchange(command_, "");
    wire_->note('>', command);
    outbox_.startChatter(now);
    late_ = Clock::duration{0};
    kind_ = faultAt(line_.spec.fault, command);
    const auto instead = answerUnheard(kind_, command);
    if (!instead) return;
    kind_ = FaultKind::kNone;
    isKept_ = true;
    held_.clear();
    outbox_.schedule(*instead, now);
}

void Relay::send(Clock::time_point now) {
    if (!device_.isOpen()) return;
    device_.follow(wire_->settings());
    const std::size_t count = toDevice_.empty() ? 0 : device_.write(toDevice_);
    toDevice_.erase(0, count);
    if (count > 0 || toDevice_.empty()) stuck_ = now + kStuck;
}

void Relay::advance(Clock::time_point now) {
    if (nextTry_ <= now) tryOpen(now);
    send(now);
    readDevice(now);
    if (outbox_.takeChatter(now)) outbox_.schedule({{line_.unsolicited}}, now);
    writeDue(now);
    if (!isHungUp_ && !toDevice_.empty() && stuck_ <= now) hangUp();
}

void Relay::readDevice(Clock::time_point now) {
    std::string bytes;
    for (int reads = 0; reads < kReadsAtOnce; ++reads) {
        if (!device_.isOpen() || outbox_.size() >= kMostPending) return;
        const bool isThere = device_.read(&bytes);
        if (!bytes.empty()) {
            takePiece(bytes, now);
        } else if (isThere) {
            return;
        }
        if (!isThere) loseDevice(now);
    }
}

void Relay::takePiece(const std::string& bytes, Clock::time_point now) {
    const FaultKind kind = std::exchange(kind_, FaultKind::kNone);
    const std::vector<Answer> pieces = disturbed(kind, {{bytes}});
    outbox_.schedule(pieces, now + late_);
    for (const Answer& piece : pieces) {
        if (!piece.hangUp) late_ += outbox_.scaled(piece.delay);
    }
    if (kind == FaultKind::kHangUpMid) device_.close();  // nobody hears the rest
}

void Relay::loseDevice(Clock::time_point now) {
    device_.close();
    toDevice_.clear();
    outbox_.schedule({{"", milliseconds{0}, true}}, outbox_.lastDue(now) + kLastWords);
}

void Relay::writeDue(Clock::time_point now) {
    if (!isHungUp_ && !outbox_.writeDue(now)) hangUp();
}

void Relay::hangUp() {
    noteUnended();
    isHungUp_ = true;
    device_.close();
    wire_->hangUp();
}

short Relay::awaits() const {
    const bool takesMore = device_.isOpen() && toDevice_.empty();
    return static_cast<short>((takesMore ? POLLIN : 0) | (outbox_.isFull() ? POLLOUT : 0));
}

pollfd Relay::device() const {
    const int events =
        (outbox_.size() < kMostPending ? POLLIN : 0) | (toDevice_.empty() ? 0 : POLLOUT);
    return {events == 0 ? -1 : device_.descriptor(), static_cast<short>(events), 0};
}

Clock::time_point Relay::nextDue() const {
    const Clock::time_point due = std::min(nextTry_, outbox_.nextDue());
    return toDevice_.empty() ? due : std::min(due, stuck_);
}

}  // namespace station
