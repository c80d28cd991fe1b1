#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "station/pty.h"
#include "station/session.h"
#include "station/transcript.h"

namespace station {

// A pty and the session of whoever is on it.
//
// 1. There is a session from the first sign of a user until he has gone or was hung up.
// 2. A pty that was hung up is done with: nothing is read from it or written to it.
class Tenure : public Wire {
  public:
    // `name` is the line's, in the transcript, and outlives this; so do the others.
    Tenure(const std::string& name, Pty pty, const SessionMaker& maker, Transcript* transcript);

    // Hands what the user has written to his session, and ends that if he has gone.
    void receive();
    // Lets the session answer.
    void advance(Clock::time_point now);
    Clock::time_point nextDue() const;
    // Adds what its users and its session wait for.
    void addWaits(std::vector<pollfd>* waits) const;

    Pty& pty() { return pty_; }
    bool hasUser() const { return pty_.hasUser() && !isHungUp_; }
    // A user has been on it and is no more.
    bool isOver() const { return isOver_; }
    bool isHungUp() const { return isHungUp_; }

    std::size_t write(std::string_view bytes) override;
    void hangUp() override;
    void note(char mark, std::string_view text) override { transcript_->add(name_, mark, text); }
    termios settings() const override { return pty_.settings(); }

  private:
    short awaits() const { return session_ ? session_->awaits() : short{POLLIN}; }

    const std::string& name_;
    Pty pty_;
    const SessionMaker& maker_;
    Transcript* transcript_;
    std::unique_ptr<Session> session_;  // set and reset by receive() alone; null: no user yet
    bool isOver_ = false;               // set by receive() and hangUp()
    bool isHungUp_ = false;             // set by hangUp()
};

}  // namespace station
