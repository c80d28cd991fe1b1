#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/at_line.h"
#include "station/instrument.h"
#include "station/module_spec.h"
#include "station/radio.h"

namespace station {

// A cellular module behind its control tty: takes the AT commands of its family and those that all
// modules have, and keeps its state as long as the station runs.
class Module : public Instrument {
  public:
    // `index` tells the modules of a station apart; `field` must outlive the module.
    Module(const ModuleSpec& spec, int index, const RfField& field);

    std::vector<Answer> receive(std::string_view line) override;
    std::vector<Answer> reject(std::string_view line) override;
    std::string unsolicited() const override;
    std::string state() const override;

    // Every answer of the command table, filled with this module's values. A name in braces that
    // no value has is left as it stands, which shows a mistake in the table.
    std::vector<std::string> everyAnswer() const;

  private:
    // A command being done. What does it writes the result.
    struct Call {
        std::string arguments = {};
        std::vector<int> numbers = {};  // the arguments, if all of them are integers; else none
        AtResult result = {};
    };
    enum Audience : int;
    struct Command;
    struct Value;
    static const Command kCommands[];
    static const Value kValues[];
    static constexpr int kPlaces = 250;  // in the phonebook

    AtResult execute(const std::string& text);
    AtResult execute(const Command& command, const std::string& arguments);
    bool hears(Audience audience) const;
    std::string filled(std::string_view answer) const;
    std::string value(std::string_view name) const;

    // What commands do besides answering. False makes the answer an ERROR.
    bool restoreProfile(Call& call);
    bool setErrorReports(Call& call);
    bool setRegistrationReports(Call& call);
    bool setPacketReports(Call& call);
    bool setMessageFormat(Call& call);
    bool switchRadio(Call& call);
    bool wake(Call& call);
    bool selectFirstReceiver(Call& call);
    bool selectSecondReceiver(Call& call);
    bool measureFirstReceiver(Call& call);
    bool measureSecondReceiver(Call& call);
    bool tuneToCdma(Call& call);
    bool openDiagnostics(Call& call);
    bool enterTestMode(Call& call);
    bool selectBand(Call& call);
    bool selectChannel(Call& call);
    bool measureGsm(Call& call);
    bool measureWcdma(Call& call);
    bool transmit(Call& call);
    bool stopTransmitting(Call& call);
    bool setPowerStep(Call& call);
    bool setPowerLevel(Call& call);
    bool readPhonebook(Call& call);
    bool writePhonebook(Call& call);

    // What the SIM answers instead of doing what it was told; empty for nothing. Counts down how
    // often it is still busy.
    std::string_view takeSimTrouble(bool needsPin);
    bool tune(int band, int number);
    bool isTunedTo(Radio radio, int number) const;
    bool isRegistered() const;
    std::string registration(int reports) const;
    int level(int receiver) const;
    int signalQuality() const;

    ModuleSpec spec_;  // its id is never empty
    const RfField& field_;
    AtLine atLine_;

    // What Z and &F restore. The commands named write it.
    struct Profile {
        int errorReports = 1;         // +CMEE: 0 ERROR alone, 1 a number, 2 words
        int registrationReports = 0;  // +CREG: 2 tells the cell, too
        int packetReports = 0;        // +CGREG, likewise
        int messageFormat = 0;        // +CMGF
    };
    Profile profile_;

    // Each of these is written by the commands named.
    bool radioOn_ = true;  // +CFUN
    bool asleep_;          // !DIAG wakes the module
    int busyLeft_;         // takeSimTrouble(): times that the SIM says that it is busy
    // +CPBW: the number, type and text of each place that is taken, as +CPBR tells them.
    std::map<int, std::string> phonebook_;

    // The password opens diagnostics, and those enter test mode. Nothing leaves either again.
    bool diagnostics_ = false;  // !ENTERCND
    bool testMode_ = false;     // !DAFTMACT

    // What the receiver is tuned to. Entering test mode forgets the band and the channel.
    std::optional<int> band_;         // !DASBAND, !CHAN: a band's code or class; none: not chosen
    std::optional<Channel> channel_;  // !DASCHAN, !CHAN: none unless it was chosen within a band
    int channelNumber_ = 0;           // !DASCHAN, !CHAN: the last that was taken; 0 before that
    int receiver_ = 1;                // !RX, !RX2, !DAWGAVGAGC, !DAGGAVGRSSI: 1 or 2

    bool transmitting_ = false;           // !DASTXON, !DASTXOFF
    std::string transmitPower_ = "none";  // !DASPDM, !DAGSTXFRAME: as the state tells it
};

}  // namespace station
