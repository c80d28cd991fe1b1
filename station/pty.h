#pragma once

#include <poll.h>
#include <termios.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "station/descriptor.h"
#include "station/watch.h"

namespace station {

// The station's side of a pseudo-terminal: its master. The station does not hold the slave, so the
// master tells exactly whether a user does.
//
// 1. While nobody has the slave open, the master either reads as ended or as one that has nothing.
//    Which it is before the first user depends on the host; after a user it reads as ended.
// 2. While somebody has it open, the master reads as one that has nothing, or gives bytes.
// 3. The slave is open to everybody, as a Mac's callout devices are, raw, and set to 9600 baud.
//    Some hosts take no settings before the slave was opened, and forget them at each first open:
//    there it becomes raw when the first bytes are read, unless the user has made it raw himself.
// 4. A slave with the sticky bit is replaced after its user, who may leave it marked as exclusive.
//    On Linux its modification time is 0 until somebody has written to it. From this the tool's
//    host knows a line on which somebody may have left half a command.
class Pty {
  public:
    enum class Event {
        kNothing,
        kUser,  // somebody has come or written
        kEnd,   // the users have gone and all that they wrote was read; told once
    };

    // `watchesOpens`: a user is told of at his open, where the host can tell, and not first when he
    // writes. Throws std::system_error.
    explicit Pty(bool watchesOpens);

    const std::string& slavePath() const { return slavePath_; }
    bool hasUser() const { return hasUser_; }

    // Reads what users have written. Sets `bytes`, to nothing if somebody has merely come.
    Event read(std::string* bytes);
    // Writes to the users at once. Returns how many bytes were taken: all if nobody is there.
    std::size_t write(std::string_view bytes) const;
    termios settings() const;

    // Takes away what users who have gone have left: unread bytes, settings, the exclusive mark.
    // That mark itself keeps the station of an ordinary user from it.
    void clean() const;
    // Says to its next user whether the pty is replaced after him, which it is at first. False when
    // that cannot be said.
    bool setReplaceable(bool isReplaceable) const;

    // Whether waiting for the descriptors below ends when a user comes or writes. After users have
    // gone it would end at once, for ever: such a pty is looked at now and then.
    bool tellsOfUsers() const { return hasUser_ || !restsAsEnded_; }
    int master() const { return master_.get(); }
    int openWatch() const { return openWatch_.descriptor(); }

  private:
    bool markUnwritten() const;
    bool makeRaw() const;
    void makeRawUnlessUserHas() const;
    void stopEcho() const;

    Descriptor master_;
    std::string slavePath_;
    Watch openWatch_;  // of the first open; empty: not asked for, cannot be told, or is over
    bool takesSettingsAtOnce_ = false;  // while there is no user; set by the constructor
    bool isUnset_ = false;              // the settings are made at the next bytes; set by read()
    bool tellsOfWriting_ = false;       // rule 4 holds; set by the constructor
    bool restsAsEnded_ = false;  // the master reads as ended while there is no user; set by read()
    bool hasUser_ = false;       // somebody has come, and has not been seen to go; set by read()
};

}  // namespace station
