#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"
#include "station/radio.h"

namespace station {

// An RF signal generator that takes SCPI: long and short forms in any case, several commands in a
// line parted by semicolons, units, queries, and an error queue whose entries are noted.
class SignalGenerator : public Instrument {
  public:
    // Writes what it radiates into `field`, which must outlive it.
    explicit SignalGenerator(RfField* field) : field_(field) { reset(); }

    std::vector<Answer> receive(std::string_view line) override;
    std::string state() const override;

  private:
    struct Command;
    static const Command kCommands[];

    void reset();
    void execute(std::string_view message, std::string* answer);
    void raise(int code, std::string_view text);
    bool takeSwitch(std::string_view parameter, bool* target);
    bool takeNumber(std::string_view parameter, bool isFrequency, double low, double high,
                    double* target);
    std::string nextError();

    RfField* field_;
    bool display_ = true;
    std::deque<std::string> errors_;
};

}  // namespace station
