#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"
#include "station/module_spec.h"
#include "station/radio.h"
#include "station/text.h"

namespace station {

// A cellular module behind its control tty: takes the AT commands of its family and those that all
// modules have, several in a line, and keeps its state as long as the station runs. It echoes the
// line unless told not to, and ignores one that does not begin with AT.
class Module : public Instrument {
  public:
    // `index` tells the modules of a station apart; `field` must outlive the module.
    Module(const ModuleSpec& spec, int index, const RfField& field);

    std::vector<Answer> receive(std::string_view line) override;
    std::vector<Answer> reject(std::string_view line) override;
    std::string unsolicited() const override;
    std::string state() const override;

  private:
    // A command being done.
    struct Call {
        std::string arguments = {};
        std::vector<int> numbers = {};  // the arguments, if all of them are integers
        std::string text = {};          // of the answer: lines parted by "\r\n"; empty for none
        std::string_view failure = {};  // the result code in place of OK; empty if all is well
        std::chrono::milliseconds delay{0};
    };
    struct Does;
    struct Command;
    static const Command kCommands[];
    bool takes(const Command& command) const;
    Call run(const std::string& command);
    Call run(const Command& command, const std::string& arguments);
    Call runNext(std::string_view* commands);
    std::string_view simTrouble(bool needsPin);
    bool tune(int band, int number);
    Values values() const;
    std::string resultCode(std::string_view failure) const;

    ModuleSpec spec_;
    const RfField& field_;

    bool echo_;
    bool words_ = true;  // in answers, instead of numbers
    bool quiet_ = false;
    int errorReports_ = 1;  // the kind of "+CME ERROR": 0 none, 1 a number, 2 words
    bool radioOn_ = true;
    bool asleep_;
    int busyLeft_;
    std::map<int, std::string> phonebook_;  // what stands behind the place in "+CPBR"
    bool diagnostics_ = false;
    bool testMode_ = false;
    int band_ = 0;  // a CDMA band class, or a band's code; 0 for none
    std::optional<Channel> channel_;
    int channelNumber_ = 0;
    int receiver_ = 1;
    bool transmitting_ = false;
    std::string transmitPower_ = "none";
};

}  // namespace station
