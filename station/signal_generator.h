#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"
#include "station/radio.h"

namespace station {

// An RF signal generator that takes what the tool sends and what asks for it again, in SCPI's long
// and short forms and in any case, several commands in a line parted by semicolons. What it does
// not understand goes to its error queue, is noted, and sets a bit of its event status register.
class SignalGenerator : public Instrument {
  public:
    // Writes what it radiates into `field`, which must outlive it.
    explicit SignalGenerator(RfField* field) : field_(field) { reset(); }

    std::vector<Answer> receive(std::string_view line) override;
    std::string state() const override;

  private:
    void reset();
    std::string execute(std::string_view message);
    std::string query(std::string_view header);
    void set(std::string_view header, std::string_view parameter);
    void setSwitch(std::string_view word, bool* target);
    void setNumber(const std::string& text, bool isFrequency, double least, double most,
                   double* target);
    void raise(int code, const char* text);

    RfField* field_;
    bool display_ = true;
    int events_ = 0;  // the event status register
    std::deque<std::string> errors_;
};

}  // namespace station
