#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "station/instrument.h"
#include "station/session.h"

namespace station {

// What a session has to say to its user, and when.
//
// 1. An answer waits until it is due, and goes out in one write. It is noted before: whoever has
//    read it finds it in the transcript.
// 2. A full line takes a part of an answer only. The rest is kept, and later answers wait behind
//    it; or it is lost, as on a real line that nobody reads.
// 3. Chatter is due again and again from its start on, if the line has any.
// 4. Delays, and the time between two lines of chatter, are multiplied by the time scale.
class Outbox {
  public:
    enum class WhenFull { kKeep, kLose };

    // `chatter`: seconds from one unsolicited line to the next; 0: there are none.
    Outbox(Wire* wire, double timeScale, double chatter, WhenFull whenFull)
        : wire_(wire), timeScale_(timeScale), chatter_(chatter), whenFull_(whenFull) {}

    // Each answer is due by its delay after the one before it, the first one after `from`.
    void schedule(const std::vector<Answer>& answers, Clock::time_point from);
    // Drops the answers that are not due yet, but for hang-ups.
    void dropLate(Clock::time_point now);

    void startChatter(Clock::time_point now);
    // Whether it is time to say something unasked; the next time is set then.
    bool takeChatter(Clock::time_point now);

    // Writes what is due. False when it has come to a hang-up, which is for the session to do.
    bool writeDue(Clock::time_point now);

    // Whether a rest is kept: the line is to be waited for, and not the time.
    bool isFull() const { return isFull_; }
    // The bytes that are waiting.
    std::size_t size() const { return size_; }
    Clock::time_point nextDue() const;
    // When the last answer is due; `now` if it was due or there is none.
    Clock::time_point lastDue(Clock::time_point now) const;

    Clock::duration scaled(std::chrono::duration<double> delay) const;

  private:
    bool write(std::string* bytes);
    Clock::time_point nextChatter(Clock::time_point now) const;

    Wire* const wire_;
    const double timeScale_;
    const double chatter_;
    const WhenFull whenFull_;
    std::multimap<Clock::time_point, Answer> pending_;  // by when they are due
    std::size_t size_ = 0;                              // the bytes in it
    bool isFull_ = false;  // a part of the first answer was written; set by write()
    Clock::time_point chatterDue_ = kNever;  // set by startChatter(), then by takeChatter()
};

}  // namespace station
