#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "station/descriptor.h"
#include "station/instrument.h"
#include "station/transcript.h"

namespace station {

using Clock = std::chrono::steady_clock;
constexpr Clock::time_point kNever = Clock::time_point::max();

// What a line is besides its instrument.
struct LineSettings {
    std::string name;
    Fault fault;
    double chatter = 0;  // seconds from one unsolicited line to the next; 0: there are none
    double timeScale = 1;
    // Puts the line's device node in place, or moves it, so that it leads to this pty.
    std::function<void(const std::string& slavePath)> place;
};

// A simulated serial line: a node that leads to a pty with an instrument behind it.
//
// A tenure is the time from the first user's open to the last one's close. Each has a pty of its
// own, of which the station holds only the master:
// - The pty is made, raw and open to every user, before its tenure; the node leads to it.
// - Commands go to the instrument as they come. Answers wait in `pending_` until they are due, and
//   a new command drops those that its user has stopped waiting for.
// - Once the users have closed and all that they wrote is read, the master reads as ended. Commands
//   that were complete have taken effect by then. Answers that are pending, half a command,
//   chatter, unread bytes and exclusive use end with the pty.
// - The new pty exists before the node is moved, and the node is moved before the old master is
//   closed: so there is always a node, and it leads to a pty that lives.
// - A fault that hangs up does the same while the user is still there.
class Line {
  public:
    // Makes the first pty and places it.
    Line(LineSettings settings, std::unique_ptr<Instrument> instrument, Transcript* transcript);

    const std::string& name() const { return settings_.name; }
    const Instrument& instrument() const { return *instrument_; }
    int masterDescriptor() const { return pty_.master.get(); }
    Clock::time_point nextDue() const;

    // Hands what users have written to the instrument, and ends their tenure if they have gone.
    // True when the instrument has taken a command.
    bool receive();
    // Writes the answers that are due, each in one write, and hangs up if that is due.
    void advance(Clock::time_point now);

  private:
    struct Pty {
        Descriptor master = {};
        std::string slavePath = {};
        // Some hosts report the end of a pty that nobody has opened yet. There it counts once
        // something was read.
        bool endCounts = false;
    };
    static Pty openPty();
    bool read();
    void takeLines();
    void take(std::string_view line);
    void dropTraffic();
    void endTenure();
    void hangUp();
    void note(char mark, std::string_view text) { transcript_->add(name(), mark, text); }
    void write(std::string_view bytes);
    Clock::duration scaled(std::chrono::duration<double> delay) const;
    Clock::time_point nextChatter() const;

    LineSettings settings_;
    std::unique_ptr<Instrument> instrument_;
    Transcript* transcript_;
    Pty pty_;
    Pty next_;            // made for the next tenure, if its master is open
    bool taken_ = false;  // a command, since receive() was called
    std::string incoming_;
    std::multimap<Clock::time_point, Answer> pending_;  // by when they are due
    Clock::time_point chatterDue_ = kNever;
};

}  // namespace station
