#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"
#include "station/radio.h"

namespace station {

// An RF signal generator that speaks SCPI in its long and short forms and in any case: what the
// tool sends, what asks for it again, and the common commands that every instrument has. What it
// does not understand goes to its error queue, is noted, and sets a bit of its event status.
class SignalGenerator : public Instrument {
  public:
    // Writes what it radiates into `field`, which must outlive it.
    explicit SignalGenerator(RfField* field);

    // A line may hold several commands, parted by semicolons. A header without a colon before it
    // goes on where the one before it was: in ":SOUR:POW:LEV -12;MODE FIX" the second one is
    // SOUR:POW:MODE. Common commands leave that place as it is.
    std::vector<Answer> receive(std::string_view line) override;
    std::string state() const override;

  private:
    struct Command;
    static const Command kCommands[];

    // Each returns the answer, empty for none. `header` has its whole path.
    std::string execute(std::string_view header, std::string_view parameter);
    std::string setWord(const Command& command, std::string_view text);
    std::string setNumber(const Command& command, const std::string& text);
    std::string raise(int code, const char* text);

    std::string nextError();
    void clear();
    void radiate();
    int statusByte() const;

    // What *RST resets; commands write it, and the field follows after each.
    struct Settings {
        double frequencyHz = 100e6;
        double levelDbm = -30;
        bool output = false;
        bool display = true;
    };
    Settings settings_;
    RfField* field_;

    // The status registers of IEEE 488.2. *CLS clears the events and the errors, *RST nothing.
    int events_ = 0;                  // raise() and *OPC set bits; *ESR? reads and clears them
    int eventMask_ = 0;               // *ESE: the events that the status byte sums up
    int serviceMask_ = 0;             // *SRE: the bits of the status byte that ask for service
    std::deque<std::string> errors_;  // raise() adds; SYST:ERR? takes; empty: no error
    bool hasAnswer_ = false;  // receive(): an answer to the line's earlier commands is waiting
};

}  // namespace station
