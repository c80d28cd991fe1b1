#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "station/descriptor.h"
#include "station/fault.h"
#include "station/instrument.h"
#include "station/transcript.h"

namespace station {

using Clock = std::chrono::steady_clock;

// A simulated serial line: a pty with an instrument behind it. Answers are put on the wire when
// they are due, each in one write, and only as long as somebody has the line open.
class Line {
  public:
    Line(std::string name, std::unique_ptr<Instrument> instrument, Fault fault, double timeScale,
         Transcript* transcript);

    const std::string& name() const { return name_; }
    const Instrument& instrument() const { return *instrument_; }
    int masterDescriptor() const { return master_.get(); }
    const std::string& slavePath() const { return slavePath_; }
    bool wantsToWrite() const { return !outgoing_.empty(); }
    std::optional<Clock::time_point> nextDue() const;

    // Reads what the tool has sent. True when the instrument has taken a command.
    bool receive();
    // Writes what is due and what did not fit before. True when the line hangs up and is another
    // pty now; the old one is there until hangUp, so that a new node can be in place before.
    bool advance(Clock::time_point now);
    void hangUp() { old_ = Descriptor(); }

    // Whoever has the line open, where the host can tell.
    void countUsers() { users_ = 0; }
    void userCame() { users_ = users_.value_or(0) + 1; }
    // `commandsRead`: commands have been read that may be older than this user's going, or newer.
    void userWent(bool commandsRead);

  private:
    struct Pending {
        Clock::time_point due;
        Answer answer;
    };
    void openPty();
    void dropTraffic();
    void writeOut();
    void take(std::string_view line);

    std::string name_;
    std::unique_ptr<Instrument> instrument_;
    Fault fault_;
    double timeScale_;
    Transcript* transcript_;
    Descriptor master_;
    Descriptor slave_;  // held, so that the line does not hang up between its users
    Descriptor old_;    // the master of the pty that is to hang up
    std::string slavePath_;
    std::string incoming_;
    std::deque<Pending> pending_;
    std::string outgoing_;
    std::optional<int> users_;
};

}  // namespace station
