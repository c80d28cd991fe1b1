#pragma once

#include <string>
#include <string_view>

#include "station/instrument.h"
#include "station/line_spec.h"
#include "station/outbox.h"
#include "station/serial_device.h"
#include "station/session.h"

namespace station {

// What the sessions at one real device share. It outlives them.
struct RelayLine {
    LineSpec spec = {};            // with the device's path
    std::string unsolicited = {};  // what chatter says
    double timeScale = 1;          // of chatter and faults; the device takes its own time
};

// A user at a real device.
//
// 1. The device is opened for this user alone when he comes, and closed when he has gone. It is
//    tried for a second, as another station's line is busy for a moment after each user. If it
//    cannot be opened, that costs a line on standard error and a hang-up.
// 2. Bytes pass both ways as they come. What one side does not take yet is kept, and meanwhile no
//    more is read from the other.
// 3. A device that goes away hangs up, after the last of its bytes. One that takes nothing of what
//    there is for it in half a minute is taken for gone.
// 4. The transcript shows the user's lines, and the device's bytes as they are passed on.
// 5. A fault that keeps commands from the device holds a line's bytes back until they cannot be
//    such a command. Other faults disturb the device's first piece after the command. Further
//    pieces stay behind it.
// 6. A command drops the earlier answers that a fault has made late, and starts the chatter.
class Relay : public Session {
  public:
    Relay(Wire* wire, const RelayLine& line);
    ~Relay() override;

    void receive(std::string_view bytes) override;
    void advance(Clock::time_point now) override;
    Clock::time_point nextDue() const override;
    short awaits() const override;
    pollfd device() const override;

  private:
    void tryOpen(Clock::time_point now);

    void takeByte(char byte);
    void takeCommand();
    bool mayBeKept() const;
    void noteUnended();
    void send(Clock::time_point now);

    void readDevice(Clock::time_point now);
    void takePiece(const std::string& bytes, Clock::time_point now);
    void loseDevice(Clock::time_point now);

    void writeDue(Clock::time_point now);
    void hangUp();

    Wire* const wire_;
    const RelayLine& line_;
    Outbox outbox_;

    SerialDevice device_;
    Clock::time_point nextTry_;  // to open it; kNever once it was opened
    Clock::time_point giveUp_;   // the last of the tries

    std::string command_;   // what has come of the user's line
    std::string held_;      // its bytes that a fault may keep from the device
    bool isKept_ = false;   // the last line was kept, and so are the line ends behind it
    std::string toDevice_;  // what the device has not taken yet
    Clock::time_point stuck_ = kNever;  // when it is hung up, if it takes nothing until then

    FaultKind kind_ = FaultKind::kNone;  // what is done to the device's next piece
    Clock::duration late_{0};            // by which the pieces behind it are late
    bool isHungUp_ = false;              // nothing more is done; set by hangUp()
};

}  // namespace station
