#pragma once

#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "station/session.h"
#include "station/tenure.h"
#include "station/transcript.h"

namespace station {

// What a line is besides what stands behind it. Its functions throw std::system_error.
struct LineSettings {
    std::string name;  // in the transcript
    // Does ahead of time what can fail about placing this pty.
    std::function<void(const std::string& slavePath)> prepare;
    // Puts the line's device node in place, or moves it, so that it leads to this pty.
    std::function<void(const std::string& slavePath)> place;
    // Whether a session begins with its user's open, where the host can tell, and not first when
    // he writes.
    bool beginsAtOpen = false;
};

// A serial line of the station: a node that leads to a pty, and what stands behind it.
//
// A tenure is the time from a user's open to the last one's close. Each has a pty of its own:
// 1. The pty is made before its tenure, and the node leads to it. Answers that nobody has read,
//    half a command, chatter and exclusive use end with it.
// 2. The next pty is made once the line has a user, and takes the place when he has gone or was
//    hung up. The node is moved before the old pty is closed: so there is always a node, and it
//    leads to a pty that lives.
// 3. The old pty is cleaned and kept for a moment, for those who had followed the node to it and
//    not opened it yet. They are served there until they go, as on the new one. One that was hung
//    up is closed at once: that is the hang-up.
// 4. When the next pty cannot be made or placed, the line keeps the one that it has, and cleans it
//    after each user. That is said once, and it is tried again.
class Line {
  public:
    // Makes the first pty and places it. Throws std::system_error. The transcript outlives it.
    Line(LineSettings settings, SessionMaker maker, Transcript* transcript);

    // Hands what users have written to their sessions.
    void receive();
    // Lets the sessions answer.
    void advance(Clock::time_point now);

    // When it wants to receive and advance though none of these descriptors is ready.
    Clock::time_point nextDue() const;
    void addWaits(std::vector<pollfd>* waits) const;

  private:
    // A tenure whose pty the node has left.
    struct Old {
        std::unique_ptr<Tenure> tenure;
        Clock::time_point closes;  // it is kept until then, or until its user has gone
    };

    std::unique_ptr<Tenure> makeTenure() const;
    std::unique_ptr<Tenure> makeTenureAtAllCosts();
    std::size_t closeOld(Clock::time_point now);
    void makeNext(Clock::time_point now);
    void replace(Clock::time_point now);
    void keepCurrent(const std::system_error& problem, Clock::time_point now);

    const LineSettings settings_;
    const SessionMaker maker_;
    Transcript* const transcript_;
    std::unique_ptr<Tenure> current_;  // where the node leads; never null
    std::unique_ptr<Tenure> next_;     // set by makeNext(); null: no user has come, or rule 4
    std::vector<Old> old_;             // the oldest first; replace() adds, closeOld() removes
    Clock::time_point turn_;           // when advance() was called last
    Clock::time_point nextTry_ = {};   // set by keepCurrent(): nothing is made or placed before
    bool isStuck_ = false;  // rule 4 is at work, and was said; set by keepCurrent() and replace()
};

}  // namespace station
