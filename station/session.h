#pragma once

#include <poll.h>
#include <termios.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

namespace station {

using Clock = std::chrono::steady_clock;
constexpr Clock::time_point kNever = Clock::time_point::max();

// The user's side of a line, as a session sees it.
class Wire {
  public:
    virtual ~Wire() = default;

    // Hands bytes to the user in one write. Returns how many the line took: not all when its buffer
    // is full, and all of them when nobody is there any more.
    virtual std::size_t write(std::string_view bytes) = 0;

    // Ends the line under its user. The session is not called again, and destroyed soon.
    virtual void hangUp() = 0;

    // Adds to the transcript, under the line's name. What a session receives and writes is not
    // noted of itself.
    virtual void note(char mark, std::string_view text) = 0;

    // The settings that the user has made by now; raw and 9600 baud before he makes any.
    virtual termios settings() const = 0;
};

// What stands behind a line for one user.
//
// 1. It is made when the user comes, and destroyed once he has gone and all that he wrote has been
//    received, or once the line was hung up.
// 2. In each turn of the station's loop it first receives what the user has written, then
//    advances once. It never waits.
// 3. Two sessions of a line may live at the same time for a while: of a user who is still on an old
//    pty, and of the next one.
class Session {
  public:
    virtual ~Session() = default;

    // Takes bytes from the user as they come: not line by line, and of any value.
    virtual void receive(std::string_view bytes) = 0;

    // Does what is due, such as to answer the user.
    virtual void advance(Clock::time_point now) = 0;

    // When it wants to advance though nothing has happened.
    virtual Clock::time_point nextDue() const { return kNever; }

    // The events that it waits for on the user's side: POLLIN as long as it takes bytes, which are
    // not read otherwise, and POLLOUT while it holds bytes that did not fit.
    virtual short awaits() const { return POLLIN; }

    // A descriptor of its own and the events that it waits for there.
    virtual pollfd device() const { return {-1, 0, 0}; }
};

// Makes the session of a user who has come. It may already hang up. The wire outlives it.
using SessionMaker = std::function<std::unique_ptr<Session>(Wire*)>;

}  // namespace station
