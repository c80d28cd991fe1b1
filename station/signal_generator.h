#pragma once

#include <deque>
#include <map>
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
    explicit SignalGenerator(RfField* field);

    std::vector<Answer> receive(std::string_view line) override;
    std::string state() const override;

  private:
    struct Setting;
    static const Setting kSettings[];

    // Each returns the answer, empty for none.
    std::string execute(std::string_view message);
    std::string set(const Setting& setting, const std::string& text);
    std::string raise(int code, const char* text);

    void reset();
    void clear();
    void radiate();

    RfField* field_;
    std::map<std::string_view, double> values_;  // of the settings, by their headers
    int events_ = 0;                             // the event status register
    std::deque<std::string> errors_;
};

}  // namespace station
