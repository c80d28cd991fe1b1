#include "station/instrument_session.h"

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
    const auto now = Clock::now();
    writeDue(now);
    if (isHungUp_) return;
    outbox_.dropLate(now);
    wire_->note('>', command);
    const std::vector<Answer> answers =
        receiveWithFault(line_.spec.fault, line_.instrument.get(), command);
    line_.afterCommand();
    outbox_.schedule(answers, Clock::now());
    outbox_.startChatter(now);
}

void InstrumentSession::advance(Clock::time_point now) {
    if (outbox_.takeChatter(now)) outbox_.schedule({{line_.instrument->unsolicited()}}, now);
    writeDue(now);
}

void InstrumentSession::writeDue(Clock::time_point now) {
    isHungUp_ = !outbox_.writeDue(now);
    if (isHungUp_) wire_->hangUp();
}

}  // namespace station
