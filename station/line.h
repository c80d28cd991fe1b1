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

    // Reads what the tool has sent.
    void fetch();
    // Hands the commands that are complete to the instrument. True when there was one. What is
    // known by then of users decides who gets the answers.
    bool receive();
    // Writes what is due and what did not fit before. True when the line hangs up and is another
    // pty now; the old one is there until hangUp, so that a new node can be in place before.
    bool advance(Clock::time_point now);
    void hangUp() { old_ = Descriptor(); }

    // What users do with the line, where the host can tell. An answer must reach the run that asked
    // and no other, even if that one was killed and the next is there already.
    void countUsers() { users_ = 0; }
    void userCame();
    void userWrote();
    void userWent();

  private:
    struct Pending {
        Clock::time_point due;
        Answer answer;
    };
    void openPty();
    void dropTraffic();
    void writeOut();
    void take(std::string_view line);
    bool isFromPresentUser();

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
    int tenure_ = 0;           // counts up whenever the last user goes
    std::deque<int> tenures_;  // in which the commands were written that are still to be taken
    int early_ = 0;            // commands taken before it was known that they were written
};

}  // namespace station
