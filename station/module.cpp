#include "station/module.h"

#include <cstdio>
#include <cstdlib>

#include "station/fault.h"

namespace station {
namespace {

// The radio takes its time, and whoever switched it does not wait for the answer.
constexpr std::chrono::milliseconds kSwitching{200};

constexpr std::string_view kPassword = "\"K482\"";

// The integers of "1,2,3"; nothing when a part is no integer.
std::optional<std::vector<int>> integers(std::string_view text) {
    std::vector<int> numbers;
    const std::string copy(text);
    const char* next = copy.c_str();
    for (;;) {
        char* end = nullptr;
        const long number = std::strtol(next, &end, 10);
        if (end == next || number < -100000000 || number > 100000000) return std::nullopt;
        numbers.push_back(static_cast<int>(number));
        if (*end == '\0') return numbers;
        if (*end != ',') return std::nullopt;
        next = end + 1;
    }
}

std::optional<int> integer(std::string_view text) {
    const auto numbers = integers(text);
    return numbers && numbers->size() == 1 ? std::optional(numbers->front()) : std::nullopt;
}

// An IMEI's check digit.
char luhnDigit(std::string_view digits) {
    int sum = 0;
    bool doubled = true;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, doubled = !doubled) {
        const int value = (*digit - '0') * (doubled ? 2 : 1);
        sum += value / 10 + value % 10;
    }
    return static_cast<char>('0' + (10 - sum % 10) % 10);
}

std::string format(const char* pattern, int number) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, number);
    return text;
}

enum Family { kEvdo = 1, kHspa = 2, kBoth = 3 };
enum Match { kWhole, kStart };  // a start is followed by the command's arguments
enum Needs { kNothing, kDiagnostics, kTestMode };

}  // namespace

struct Module::Command {
    Family family;
    std::string_view text;
    Match match;
    Needs needs;
    Result (*run)(Module& module, std::string_view arguments);
};

// A setting that has no bearing on what the station shows.
Module::Result Module::takeInteger(Module&, std::string_view arguments) {
    return {.ok = integer(arguments).has_value()};
}

const Module::Command Module::kCommands[] = {
    {kBoth, "AT", kWhole, kNothing, [](Module&, auto) { return Result{}; }},
    {kEvdo, "AT+GSN", kWhole, kNothing,
     [](Module& module, auto) { return Result{.text = format("0x809A%04X", 0x1B20 + module.index_)}; }},
    {kEvdo, "AT!MDMVER?", kWhole, kNothing,
     [](Module&, auto) {
         return Result{.text = "Modem Version:\r\nS/W VER: p2813300,59370\r\nPRI VER: 02.07"};
     }},
    {kEvdo, "AT!PRLVER?", kWhole, kNothing, [](Module&, auto) { return Result{.text = "PRL VER:60683"}; }},
    {kEvdo, "AT!STATUS", kWhole, kNothing,
     [](Module& module, auto) {
         if (module.asleep_) return Result{.text = "Band: none\r\nChannel: none\r\nPower mode: Sleep"};
         return Result{.text = "Band: " + format("%d", module.bandCode_) +
                               "\r\nChannel: " + format("%d", module.channelNumber_) +
                               "\r\nPower mode: Awake\r\nTemperature: " +
                               format("%d", module.spec_.temperatures[0]) + " C\r\nSystem: Idle"};
     }},
    {kEvdo, "AT!OEM=176", kWhole, kNothing, [](Module&, auto) { return Result{}; }},
    {kEvdo, "AT!DIAG", kWhole, kNothing,
     [](Module& module, auto) {
         module.asleep_ = false;
         return Result{};
     }},
    {kEvdo, "AT!RX=1", kWhole, kNothing, [](Module& module, auto) { return module.selectReceiver(1); }},
    {kEvdo, "AT!RX2=1", kWhole, kNothing, [](Module& module, auto) { return module.selectReceiver(2); }},
    {kEvdo, "AT!CHAN?", kWhole, kNothing,
     [](Module& module, auto) {
         return Result{.text = "Channel = " + format("%d", module.channelNumber_)};
     }},
    {kEvdo, "AT!CHAN=", kStart, kNothing,
     [](Module& module, std::string_view arguments) {
         const auto numbers = integers(arguments);
         if (!numbers || numbers->size() != 2) return Result{.ok = false};
         const auto channel = cdmaChannel((*numbers)[1], (*numbers)[0]);
         if (!channel) return Result{.ok = false};
         module.channel_ = channel;
         module.channelNumber_ = (*numbers)[0];
         module.bandCode_ = (*numbers)[1];
         return Result{};
     }},
    {kEvdo, "AT!RXAGC?", kWhole, kNothing,
     [](Module& module, auto) {
         if (module.receiver_ != 1) return Result{.ok = false};
         return Result{.text = "RX AGC = " + module.level(1) + " dBm"};
     }},
    {kEvdo, "AT!RX2AGC?", kWhole, kNothing,
     [](Module& module, auto) {
         if (module.receiver_ != 2) return Result{.ok = false};
         return Result{.text = "RX2 AGC = " + module.level(2) + " dBm"};
     }},

    {kBoth, "AT^SYSINFO", kWhole, kNothing,
     [](Module& module, auto) {
         const bool usable = module.spec_.sim == SimState::kPresent || module.spec_.sim == SimState::kPinPending;
         if (module.isEvdo() || module.spec_.sim == SimState::kAbsent) {
             return Result{.text = "^SYSINFO:2,3,0,5,255"};
         }
         return Result{.text = usable ? "^SYSINFO:2,3,0,5,1" : "^SYSINFO:2,3,0,5,0"};
     }},
    {kHspa, "AT+CGSN", kWhole, kNothing,
     [](Module& module, auto) {
         std::string digits = format("01234500678%03d", module.index_ % 1000);
         return Result{.text = digits + luhnDigit(digits)};
     }},
    {kHspa, "AT!GVER?", kWhole, kNothing,
     [](Module&, auto) { return Result{.text = "!GVER: K2_0_7_19AP C:/WS/FW/K2_0_7_19AP"}; }},
    {kHspa, "AT^HVER", kWhole, kNothing, [](Module&, auto) { return Result{.text = "^HVER: 1.4"}; }},
    {kHspa, "AT!PRIID?", kWhole, kNothing,
     [](Module&, auto) { return Result{.text = "PRI Part Number: 9901042\r\nRevision: 01.03"}; }},
    {kHspa, "AT^CARDMODE", kWhole, kNothing, [](Module&, auto) { return Result{.text = "^CARDMODE:2"}; }},
    {kHspa, "AT!GSTATUS?", kWhole, kNothing,
     [](Module& module, auto) {
         return Result{.text = std::string("!GSTATUS:\r\nMode: ") +
                               (module.radioOn_ ? "ONLINE" : "LOW POWER") + "\r\nTemperature: " +
                               format("%d", module.spec_.temperatures[0]) +
                               "\r\nSystem mode: WCDMA\r\nGMM state: REGISTERED"};
     }},
    {kHspa, "AT+CFUN?", kWhole, kNothing,
     [](Module& module, auto) { return Result{.text = module.radioOn_ ? "+CFUN: 1" : "+CFUN: 0"}; }},
    {kHspa, "AT+CFUN=", kStart, kNothing,
     [](Module& module, std::string_view arguments) {
         const auto mode = integer(arguments);
         if (!mode || *mode < 0 || *mode > 1) return Result{.ok = false};
         module.radioOn_ = *mode == 1;
         return Result{.delay = kSwitching};
     }},
    {kHspa, "AT!DTEMP? ", kStart, kNothing,
     [](Module& module, std::string_view arguments) {
         const auto thermistor = integer(arguments);
         if (!thermistor || *thermistor < 0 || *thermistor > 1) return Result{.ok = false};
         return Result{.text = format("%d", module.spec_.temperatures[*thermistor])};
     }},
    {kHspa, "AT+CPIN?", kWhole, kNothing,
     [](Module& module, auto) {
         if (module.spec_.sim == SimState::kPinPending && module.busyLeft_ == 0) {
             return Result{.text = "+CPIN: SIM PIN"};
         }
         return module.simTrouble().value_or(Result{.text = "+CPIN: READY"});
     }},
    {kHspa, "AT+CPBW=", kStart, kNothing,
     [](Module& module, std::string_view arguments) { return module.writePhonebook(arguments); }},
    {kHspa, "AT+CPBR=1", kWhole, kNothing,
     [](Module& module, auto) {
         if (const auto trouble = module.simTrouble()) return *trouble;
         if (module.phonebookNumber_.empty()) return Result{};
         return Result{.text = "+CPBR: 1,\"" + module.phonebookNumber_ + "\"," +
                               format("%d", module.phonebookType_) + ",\"" +
                               module.phonebookText_ + "\""};
     }},

    {kHspa, "AT!ENTERCND=", kStart, kNothing,
     [](Module& module, std::string_view arguments) {
         if (arguments == kPassword) module.diagnostics_ = true;
         return Result{.ok = arguments == kPassword};
     }},
    {kHspa, "AT!DAFTMACT", kWhole, kDiagnostics,
     [](Module& module, auto) {
         module.testMode_ = true;
         module.band_.reset();
         module.channel_.reset();
         module.bandCode_ = 0;
         return Result{};
     }},
    {kHspa, "AT!DASBAND=", kStart, kTestMode,
     [](Module& module, std::string_view arguments) {
         const auto code = integer(arguments);
         const auto band = code ? bandOfCode(*code) : std::nullopt;
         if (!band) return Result{.ok = false};
         module.band_ = band;
         module.bandCode_ = *code;
         return Result{};
     }},
    {kHspa, "AT!DASCHAN=", kStart, kTestMode,
     [](Module& module, std::string_view arguments) {
         const auto number = integer(arguments);
         return number ? module.selectChannel(*number) : Result{.ok = false};
     }},
    {kHspa, "AT!DASLNAGAIN=", kStart, kTestMode,
     takeInteger},
    {kHspa, "AT!DAWSSCHAIN=", kStart, kTestMode,
     takeInteger},
    {kHspa, "AT!DAGSRXBURST=", kStart, kTestMode,
     takeInteger},
    {kHspa, "AT!DAWGAVGAGC=", kStart, kTestMode,
     [](Module& module, std::string_view arguments) {
         const auto numbers = integers(arguments);
         if (!numbers || numbers->size() != 3 || !module.isTunedTo(Radio::kWcdma, (*numbers)[0])) {
             return Result{.ok = false};
         }
         return Result{.text = module.level((*numbers)[2] + 1)};
     }},
    {kHspa, "AT!DAGGAVGRSSI=", kStart, kTestMode,
     [](Module& module, std::string_view arguments) {
         const auto numbers = integers(arguments);
         if (!numbers || numbers->size() != 2 || !module.isTunedTo(Radio::kGsm, (*numbers)[0])) {
             return Result{.ok = false};
         }
         return Result{.text = module.level(1) + " dBm"};
     }},
    {kHspa, "AT!DASTXON", kWhole, kTestMode,
     [](Module& module, auto) {
         module.transmitting_ = module.channel_.has_value();
         return Result{.ok = module.transmitting_};
     }},
    {kBoth, "AT!DASTXOFF", kWhole, kNothing,
     [](Module& module, auto) {
         module.transmitting_ = false;
         return Result{};
     }},
    {kHspa, "AT!DAWSTXCW=", kStart, kTestMode,
     takeInteger},
    {kHspa, "AT!DAWSPARANGE=", kStart, kTestMode,
     takeInteger},
    {kHspa, "AT!DASPDM=2,", kStart, kTestMode,
     [](Module& module, std::string_view arguments) {
         const auto power = integer(arguments);
         if (!power || *power < 0 || *power > 511) return Result{.ok = false};
         module.transmitPower_ = format("%d AGC", *power);
         return Result{};
     }},
    {kHspa, "AT!DAGSTXFRAME=0,1,", kStart, kTestMode,
     [](Module& module, std::string_view arguments) {
         const auto numbers = integers(arguments);
         if (!numbers || numbers->size() != 2 || (*numbers)[0] < 0 || (*numbers)[0] > 3300) {
             return Result{.ok = false};
         }
         module.transmitPower_ = format("%d/100 dB", (*numbers)[0]);
         return Result{};
     }},
};

Module::Module(const ModuleSpec& spec, int index, const RfField& field)
    : spec_(spec), index_(index), field_(field), asleep_(spec.asleep), busyLeft_(spec.busy) {}

const Module::Command* Module::find(std::string_view line) const {
    const Family family = isEvdo() ? kEvdo : kHspa;
    for (const Command& command : kCommands) {
        if ((command.family & family) == 0 || !startsWithIgnoringCase(line, command.text)) continue;
        if (command.match == kStart || line.size() == command.text.size()) return &command;
    }
    return nullptr;
}

Module::Result Module::run(std::string_view line) {
    const Command* command = find(line);
    if (command == nullptr || (command->needs != kNothing && !diagnostics_) ||
        (command->needs == kTestMode && !testMode_)) {
        return {.ok = false};
    }
    return command->run(*this, line.substr(command->text.size()));
}

std::vector<Answer> Module::receive(std::string_view line) {
    const Result result = run(line);
    std::string reply = std::string(line) + "\r\r\n";
    if (!result.text.empty()) reply += result.text + "\r\n";
    if (!result.text.empty() && !result.final) reply += "\r\n";
    if (!result.final) reply += result.ok ? "OK\r\n" : "ERROR\r\n";

    return {Answer{.bytes = reply, .delay = result.delay}};
}

// What the SIM answers instead of doing what it was told, if anything.
std::optional<Module::Result> Module::simTrouble() {
    if (busyLeft_ > 0) {
        --busyLeft_;
        return Result{.text = "SIM busy", .final = true};
    }
    switch (spec_.sim) {
        case SimState::kPresent:
            return std::nullopt;
        case SimState::kAbsent:
            return Result{.text = "+CME ERROR: 10", .final = true};
        case SimState::kPinPending:
            return Result{.text = "+CME ERROR: 11", .final = true};
        case SimState::kError:
            break;
    }
    return Result{.text = "+CME ERROR: 13", .final = true};
}

// Takes 1,"NUMBER",TYPE,"TEXT".
Module::Result Module::writePhonebook(std::string_view arguments) {
    if (const auto trouble = simTrouble()) return *trouble;
    char number[64] = "";
    char text[64] = "";
    int type = 0;
    const std::string copy(arguments);
    const bool full =
        std::sscanf(copy.c_str(), "1,\"%63[^\"]\",%9d,\"%63[^\"]\"", number, &type, text) == 3;
    const bool blank = std::sscanf(copy.c_str(), "1,\"\",%9d,\"", &type) == 1;
    if (!full && !blank) return {.ok = false};
    if (spec_.phonebookStuck) return {};
    phonebookNumber_ = number;
    phonebookText_ = text;
    phonebookType_ = type;
    return {};
}

// Without a band any channel is taken, as there is nothing to check it against.
Module::Result Module::selectChannel(int number) {
    if (band_) {
        const auto channel = cellularChannel(*band_, number);
        if (!channel) return {.ok = false};
        channel_ = channel;
    }
    channelNumber_ = number;
    return {};
}

Module::Result Module::selectReceiver(int receiver) {
    receiver_ = receiver;
    return {};
}

bool Module::isTunedTo(Radio radio, int number) const {
    return channel_ && channel_->radio == radio && channelNumber_ == number;
}

std::string Module::level(int receiver) const {
    return format("%d",
                  receivedLevel(field_, channel_.value_or(Channel{Radio::kCdma, 0}), receiver));
}

std::string Module::state() const {
    std::string text = format("product=0x%04x\n", static_cast<int>(spec_.productId));
    text += std::string("radio=") + (radioOn_ ? "on" : "off") + "\n";
    text += std::string("asleep=") + (asleep_ ? "yes" : "no") + "\n";
    text += "phonebook.1=" + phonebookNumber_ + "," + phonebookText_ + "\n";
    text += std::string("test-mode=") + (testMode_ ? "on" : "off") + "\n";
    text += format("band=%d\n", bandCode_) + format("channel=%d\n", channelNumber_);
    text += std::string("transmitter=") + (transmitting_ ? "on" : "off") + "\n";
    text += "transmit-power=" + transmitPower_ + "\n";
    return text;
}

}  // namespace station
