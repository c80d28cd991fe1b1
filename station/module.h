#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/instrument.h"
#include "station/module_spec.h"
#include "station/radio.h"

namespace station {

// A cellular module behind its control tty: takes AT commands of its family, answers with an echo,
// and keeps its state as long as the station runs.
class Module : public Instrument {
  public:
    // `index` tells the modules of a station apart; `field` must outlive the module.
    Module(const ModuleSpec& spec, int index, const RfField& field);

    std::vector<Answer> receive(std::string_view line) override;
    std::string state() const override;

  private:
    // What a command gives between echo and end: the text of its answer, and how it ends.
    struct Result {
        bool ok = true;
        std::string text = {};  // lines parted by "\r\n"; empty for none
        bool final = false;     // the text stands for OK or ERROR
        std::chrono::milliseconds delay{0};
    };
    struct Command;
    static const Command kCommands[];

    const Command* find(std::string_view line) const;
    Result run(std::string_view line);
    bool isEvdo() const { return spec_.productId == 0x0019 || spec_.productId == 0x8222; }
    static Result takeInteger(Module& module, std::string_view arguments);
    std::optional<Result> simTrouble();
    Result writePhonebook(std::string_view arguments);
    Result selectChannel(int number);
    Result selectReceiver(int receiver);
    bool isTunedTo(Radio radio, int number) const;
    std::string level(int receiver) const;

    ModuleSpec spec_;
    int index_;
    const RfField& field_;

    bool radioOn_ = true;
    bool asleep_;
    int busyLeft_;
    std::string phonebookNumber_;
    std::string phonebookText_;
    int phonebookType_ = 129;
    bool diagnostics_ = false;
    bool testMode_ = false;
    std::optional<CellularBand> band_;
    std::optional<Channel> channel_;
    int channelNumber_ = 0;
    int receiver_ = 1;  // of the EVDO family
    int bandCode_ = 0;
    bool transmitting_ = false;
    std::string transmitPower_ = "none";
};

}  // namespace station
