#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "station/instrument.h"
#include "station/line_spec.h"
#include "station/outbox.h"
#include "station/session.h"

namespace station {

// What the sessions of one simulated instrument share. It outlives them.
struct InstrumentLine {
    std::unique_ptr<Instrument> instrument = {};
    LineSpec spec = {};
    double timeScale = 1;
    std::function<void()> afterCommand = [] {};  // called before anything of the answer is written
};

// A user at a simulated instrument.
//
// 1. A command is a line, ended by CR, LF or both, and goes to the instrument when its end comes.
// 2. Answers that are due go out before the next command is taken. Those that are still late then
//    are dropped, as their user has stopped waiting for them; a hang-up is not.
// 3. From the first command on the instrument speaks unasked, if the line is one with chatter.
class InstrumentSession : public Session {
  public:
    InstrumentSession(Wire* wire, const InstrumentLine& line)
        : wire_(wire),
          line_(line),
          outbox_(wire, line.timeScale, line.spec.chatter, Outbox::WhenFull::kLose) {}

    void receive(std::string_view bytes) override;
    void advance(Clock::time_point now) override;
    Clock::time_point nextDue() const override { return outbox_.nextDue(); }

  private:
    void take(std::string_view command);
    void writeDue(Clock::time_point now);

    Wire* const wire_;
    const InstrumentLine& line_;
    Outbox outbox_;
    std::string incoming_;   // a command whose end has not come
    bool isHungUp_ = false;  // nothing more is taken; set by writeDue()
};

}  // namespace station
