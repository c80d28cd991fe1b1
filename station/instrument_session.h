#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "station/instrument.h"
#include "station/line_spec.h"
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
// 2. Its answers wait until they are due, each then goes out in one write, and one may hang up.
//    What does not fit is lost, as on a real line that nobody reads.
// 3. Answers that are due go out before the next command is taken. Those that are still late then
//    are dropped, as their user has stopped waiting for them; a hang-up is not.
// 4. From the first command on the instrument speaks unasked, if the line is one with chatter.
class InstrumentSession : public Session {
  public:
    InstrumentSession(Wire* wire, const InstrumentLine& line) : wire_(wire), line_(line) {}

    void receive(std::string_view bytes) override;
    void advance(Clock::time_point now) override;
    Clock::time_point nextDue() const override;

  private:
    void take(std::string_view command);
    void writeDue(Clock::time_point now);
    void write(std::string_view bytes);
    Clock::duration scaled(std::chrono::duration<double> delay) const;
    Clock::time_point nextChatter() const;

    Wire* const wire_;
    const InstrumentLine& line_;
    std::string incoming_;                              // a command whose end has not come
    std::multimap<Clock::time_point, Answer> pending_;  // by when they are due
    Clock::time_point chatterDue_ = kNever;  // set by the first command, then at each line
    bool isHungUp_ = false;                  // nothing more is taken
};

}  // namespace station
