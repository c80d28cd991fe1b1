#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "station/session.h"
#include "station/tenure.h"
#include "station/transcript.h"

namespace station {

// What a line is besides what stands behind it.
struct LineSettings {
    std::string name;  // in the transcript
    // Puts the line's device node in place, or moves it, so that it leads to this pty. Throws
    // std::system_error.
    std::function<void(const std::string& slavePath)> place;
    // Whether a session begins with its user's open, where the host can tell, and not first when he
    // writes.
    bool beginsAtOpen = false;
};

// A serial line of the station: a node that leads to a pty, and what stands behind it.
//
// A tenure is the time from a user's open to the last one's close. Each has a pty of its own:
// 1. The pty is made before its tenure, and the node leads to it. Answers that nobody has read,
//    half a command, chatter and exclusive use end with it.
// 2. Once its users have gone, or were hung up, the next pty takes its place: that pty exists
// before
//    the node is moved, and the node is moved before the old one is closed. So there is always a
//    node, and it leads to a pty that lives.
// 3. The old pty is kept for a moment, cleaned, for those who had followed the node to it and not
//    opened it yet. They are served there until they go, as on the new one. One that was hung up is
//    closed at once: that is the hang-up.
// 4. When the next pty can be neither made nor placed, the old one is kept and cleaned, which is
//    said once, and it is tried again.
class Line {
  public:
    // Makes the first pty and places it. Throws std::system_error. The transcript outlives the
    // line.
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
    std::unique_ptr<Tenure> makeNext();
    std::size_t closeOld(Clock::time_point now);
    void replace(Clock::time_point now);
    void keep(const std::exception& problem);

    const LineSettings settings_;
    const SessionMaker maker_;
    Transcript* const transcript_;
    std::unique_ptr<Tenure> current_;  // where the node leads; never null
    std::vector<Old> old_;             // the oldest first; replace() adds, closeOld() removes
    Clock::time_point turn_;           // when advance() was called last
    Clock::time_point nextTry_ = {};   // to replace the pty; in the past unless that has failed
    bool isStuck_ = false;             // the pty cannot be replaced, and that was said
};

}  // namespace station
