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
    // A switch, or a number with its range and its base unit.
    struct Setting {
        bool* state = nullptr;
        double* number = nullptr;
        double least = 0, most = 0;
        std::string_view unit = {};
        const char* pattern = "";  // as it is told
    };

    void reset();
    std::string execute(std::string_view message);
    std::string nextError();
    static std::string valueOf(const Setting& setting);
    void set(const Setting& setting, const std::string& parameter);
    void setNumber(const Setting& setting, const std::string& text);
    void raise(int code, const char* text);

    RfField* field_;
    bool display_ = true;
    std::map<std::string_view, Setting> settings_;  // by their headers' short forms
    int events_ = 0;                                // the event status register
    std::deque<std::string> errors_;
};

}  // namespace station
