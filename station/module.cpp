#include "station/module.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>
#include <type_traits>

#include "station/text.h"

namespace station {

namespace {

// Which modules take a command: both families; EVDO, or EVDO while it sleeps; HSPA, or HSPA with a
// SIM that can be read, with one that needs no PIN either, after the password, in test mode.
enum Audience { kBoth, kEvdo, kAsleep, kHspa, kCard, kOpenCard, kDiagnostics, kTestMode };

// What the arguments must be: so many integers, the first from 0 to `most` if that is given. No
// integers: anything goes.
struct Numbers {
    std::size_t count = 0;
    int most = -1;
};

}  // namespace

// The radio takes its time, and whoever switched it does not wait for the answer.
static constexpr std::chrono::milliseconds kSwitching{200};

static constexpr int kPlaces = 250;  // in the phonebook
static constexpr int kNoBand = 0;
static constexpr std::string_view kPassword = "\"K482\"";
static constexpr std::string_view kError = "ERROR";

// In the order of SimState; `service` is the last field of ^SYSINFO.
static constexpr struct {
    std::string_view numeric, verbose, service;
} kSim[] = {
    {"", "", "1"},
    {"+CME ERROR: 10", "+CME ERROR: SIM not inserted", "255"},
    {"+CME ERROR: 11", "+CME ERROR: SIM PIN required", "1"},
    {"+CME ERROR: 13", "+CME ERROR: SIM failure", "0"},
};

// The integers of "1,2,3"; none when a part is no integer.
static std::vector<int> integers(const std::string& text) {
    std::vector<int> numbers;
    std::istringstream parts(text + ",");
    char comma = 0;
    for (int number = 0; parts >> number >> comma && comma == ',';) numbers.push_back(number);
    return parts.eof() ? numbers : std::vector<int>();
}

// What commands do besides answering. False makes the answer an ERROR.
struct Module::Does {
    // Sets a member, to a value or to the command's number.
    template <auto member, auto value>
    static bool put(Module& module, Call&) {
        module.*member = value;
        return true;
    }
    template <auto member>
    static bool take(Module& module, Call& call) {
        using Value = std::remove_reference_t<decltype(module.*member)>;
        module.*member = static_cast<Value>(call.numbers[0]);
        return true;
    }
    static bool restoreProfile(Module& module, Call&) {
        module.echo_ = module.spec_.echo;
        module.words_ = true;
        module.quiet_ = false;
        module.errorReports_ = 1;
        return true;
    }
    static bool tuneToCdma(Module& module, Call& call) {
        const int band = call.numbers[1];
        return !isBandCode(band) && module.tune(band, call.numbers[0]);
    }
    template <int receiver>
    static bool usesReceiver(Module& module, Call&) {
        return module.receiver_ == receiver;
    }
    static bool switchRadio(Module& module, Call& call) {
        call.delay = kSwitching;
        return take<&Module::radioOn_>(module, call);
    }
    static bool openDiagnostics(Module& module, Call& call) {
        module.diagnostics_ = module.diagnostics_ || call.arguments == kPassword;
        return call.arguments == kPassword;
    }
    static bool enterTestMode(Module& module, Call&) {
        module.testMode_ = true;
        module.band_ = kNoBand;
        module.channel_.reset();
        return true;
    }
    static bool selectBand(Module& module, Call& call) {
        return isBandCode(call.numbers[0]) && take<&Module::band_>(module, call);
    }
    // Without a band there is nothing to check a channel against.
    static bool selectChannel(Module& module, Call& call) {
        if (module.band_ != kNoBand) return module.tune(module.band_, call.numbers[0]);
        return take<&Module::channelNumber_>(module, call);
    }
    template <Radio radio>
    static bool measure(Module& module, Call& call) {
        module.receiver_ = radio == Radio::kWcdma && call.numbers[2] == 1 ? 2 : 1;
        return module.channel_ && module.channel_->radio == radio &&
               module.channelNumber_ == call.numbers[0];
    }
    static bool transmit(Module& module, Call&) {
        module.transmitting_ = module.channel_.has_value();
        return module.transmitting_;
    }
    static bool setPower(Module& module, Call& call) {
        const char* pattern = call.numbers.size() == 1 ? "%d AGC" : "%d/100 dB";
        module.transmitPower_ = format(pattern, call.numbers[0]);
        return true;
    }
    // Takes FIRST or FIRST,LAST.
    static bool readPhonebook(Module& module, Call& call) {
        if (call.numbers.empty() || call.numbers.size() > 2) return false;
        const int first = call.numbers.front();
        const int last = call.numbers.back();
        if (first < 1 || last < first || last > kPlaces) return false;
        for (const auto& [place, entry] : module.phonebook_) {
            if (place < first || place > last) continue;
            call.text += (call.text.empty() ? "" : "\r\n") + format("+CPBR: %d,", place) + entry;
        }
        return true;
    }
    // Takes PLACE,"NUMBER",TYPE,"TEXT"; without a number, or with an empty one, the place is
    // cleared.
    static bool writePhonebook(Module& module, Call& call) {
        int place = 0;
        int type = 0;
        char number[64] = "";
        char text[64] = "";
        const char* arguments = call.arguments.c_str();
        const bool full = std::sscanf(arguments, "%9d,\"%63[^\"]\",%9d,\"%63[^\"]\"", &place,
                                      number, &type, text) >= 3;
        const bool blank = std::sscanf(arguments, "%9d,\"\",%9d,\"", &place, &type) == 2 ||
                           call.numbers.size() == 1;
        if ((!full && !blank) || place < 1 || place > kPlaces) return false;
        if (module.spec_.phonebookStuck) return true;
        module.phonebook_.erase(place);
        if (full) {
            module.phonebook_[place] =
                '"' + std::string(number) + format("\",%d,\"", type) + text + '"';
        }
        return true;
    }
};

// Commands as they stand behind AT; one that ends in = or a comma is followed by arguments. A basic
// command, such as E1, stands here as E=1. The answer holds {names} of values, and is given if
// there is no function to do, or that returns true; otherwise the answer is ERROR.
struct Module::Command {
    Audience audience;
    std::string_view names[4];
    std::string_view answer = "";
    Numbers numbers = {};
    bool (*run)(Module& module, Call& call) = nullptr;
};

const Module::Command Module::kCommands[] = {
    {kEvdo, {"+GCAP"}, "+GCAP: +CIS707-A, +MS, +ES, +DS"},
    {kEvdo, {"!MDMVER?"}, "Modem Version:\r\nS/W VER: {firmware}\r\nPRI VER: 02.07"},
    {kEvdo, {"!PRLVER?"}, "PRL VER:{prl}"},
    {kAsleep, {"!STATUS"}, "Band: none\r\nChannel: none\r\nPower mode: Sleep"},
    {kEvdo,
     {"!STATUS"},
     "Band: {band}\r\nChannel: {channel}\r\nPower mode: Awake\r\nTemperature: {temperature0} C\r\n"
     "System: Idle"},
    {kEvdo, {"!OEM=176"}},
    {kEvdo, {"!DIAG"}, "", {}, Does::put<&Module::asleep_, false>},
    {kEvdo, {"!RX=1"}, "", {}, Does::put<&Module::receiver_, 1>},
    {kEvdo, {"!RX2=1"}, "", {}, Does::put<&Module::receiver_, 2>},
    {kEvdo, {"!CHAN?"}, "Channel = {channel}"},
    {kEvdo, {"!CHAN="}, "", {2}, Does::tuneToCdma},
    {kEvdo, {"!RXAGC?"}, "RX AGC = {level} dBm", {}, Does::usesReceiver<1>},
    {kEvdo, {"!RX2AGC?"}, "RX2 AGC = {level} dBm", {}, Does::usesReceiver<2>},

    {kHspa, {"+GCAP"}, "+GCAP: +CGSM, +DS, +ES"},
    {kHspa, {"!GVER?"}, "!GVER: {firmware} C:/WS/FW/{firmware}"},
    {kHspa, {"^HVER"}, "^HVER: {hardware}"},
    {kHspa, {"!PRIID?"}, "PRI Part Number: {sku}\r\nRevision: 01.03"},
    {kHspa, {"^CARDMODE"}, "^CARDMODE:2"},
    {kHspa,
     {"!GSTATUS?"},
     "!GSTATUS:\r\nMode: {mode}\r\nTemperature: {temperature0}\r\nSystem mode: WCDMA\r\n"
     "GMM state: REGISTERED"},
    {kHspa, {"!DTEMP? 0"}, "{temperature0}"},
    {kHspa, {"!DTEMP? 1"}, "{temperature1}"},
    {kHspa, {"+CFUN?"}, "+CFUN: {function}"},
    {kHspa, {"+CFUN="}, "", {1, 1}, Does::switchRadio},

    {kCard, {"+CPIN?"}, "+CPIN: {pin}"},
    {kOpenCard, {"+CIMI"}, "001010000000001"},
    {kHspa, {"+CPBS=?"}, "+CPBS: (\"SM\")"},
    {kHspa, {"+CPBS?"}, "+CPBS: \"SM\",{entries},{places}"},
    {kHspa, {"+CPBR=?"}, "+CPBR: (1-{places}),63,63"},
    {kOpenCard, {"+CPBR="}, "", {}, Does::readPhonebook},
    {kHspa, {"+CPBW=?"}, "+CPBW: (1-{places}),63,(129,145),63"},
    {kOpenCard, {"+CPBW="}, "", {}, Does::writePhonebook},

    {kHspa, {"!ENTERCND="}, "", {}, Does::openDiagnostics},
    {kDiagnostics, {"!DAFTMACT"}, "", {}, Does::enterTestMode},
    {kTestMode, {"!DASBAND="}, "", {1}, Does::selectBand},
    {kTestMode, {"!DASCHAN="}, "", {1}, Does::selectChannel},
    {kTestMode, {"!DASLNAGAIN=", "!DAWSSCHAIN=", "!DAGSRXBURST="}, "", {1}},
    {kTestMode, {"!DAWGAVGAGC="}, "{level}", {3}, Does::measure<Radio::kWcdma>},
    {kTestMode, {"!DAGGAVGRSSI="}, "{level} dBm", {2}, Does::measure<Radio::kGsm>},
    {kTestMode, {"!DASTXON"}, "", {}, Does::transmit},
    {kBoth, {"!DASTXOFF"}, "", {}, Does::put<&Module::transmitting_, false>},
    {kTestMode, {"!DAWSTXCW=", "!DAWSPARANGE="}, "", {1}},
    {kTestMode, {"!DASPDM=2,"}, "", {1, 511}, Does::setPower},
    {kTestMode, {"!DAGSTXFRAME=0,1,"}, "", {2, 3300}, Does::setPower},

    // What all modules have, and other people's programs ask for.
    {kBoth, {"^SYSINFO"}, "^SYSINFO:2,3,0,5,{service}"},
    {kBoth, {"+GSN", "+CGSN"}, "{serial}"},
    {kBoth, {"+GMI", "+CGMI"}, "Orvel"},
    {kBoth, {"+GMM", "+CGMM"}, "WWAN-{product}"},
    {kBoth, {"+GMR", "+CGMR"}, "{firmware}"},
    {kBoth, {"+CSQ"}, "+CSQ: {signal},99"},
    {kBoth, {"+CMEE=?"}, "+CMEE: (0-2)"},
    {kBoth, {"+CMEE?"}, "+CMEE: {reports}"},
    {kBoth, {"+CMEE="}, "", {1, 2}, Does::take<&Module::errorReports_>},
    {kHspa, {"+CREG?"}, "+CREG: 0,{registered}"},
    {kHspa, {"+CREG=", "+CGREG="}, "", {1, 2}},
    {kHspa, {"+CGREG?"}, "+CGREG: 0,{registered}"},
    {kHspa, {"+COPS?"}, "+COPS: 0,0,\"Test\",2"},
    {kHspa, {"+CSCS=?"}, "+CSCS: (\"GSM\")"},
    {kHspa, {"+CSCS?"}, "+CSCS: \"GSM\""},
    {kHspa, {"+CNUM", "+CPBS=\"SM\"", "+CSCS=\"GSM\""}},
    {kHspa, {"+CLCK=\"SC\",2"}, "+CLCK: 0"},
    {kHspa, {"+CSCA?"}, "+CSCA: \"\",129"},
    {kHspa, {"+CSMS?"}, "+CSMS: 0,1,1,1"},
    {kBoth,
     {"I="},
     "Manufacturer: Orvel\r\nModel: WWAN-{product}\r\nRevision: {firmware}\r\n{kind}: {id}"},
    {kBoth, {"E="}, "", {1, 1}, Does::take<&Module::echo_>},
    {kBoth, {"V="}, "", {1, 1}, Does::take<&Module::words_>},
    {kBoth, {"Q="}, "", {1, 1}, Does::take<&Module::quiet_>},
    {kBoth, {"Z=", "&F="}, "", {}, Does::restoreProfile},
    {kBoth, {"H=", "X=", "&C=", "&D="}},
    {kBoth, {"S="}},
    {kBoth, {"S?"}, "000"},
};

// An IMEI of its first fourteen digits.
static std::string withCheckDigit(const std::string& digits) {
    int sum = 0;
    for (std::size_t place = 0; place < digits.size(); ++place) {
        const int value = (digits[place] - '0') * (place % 2 == 0 ? 1 : 2);
        sum += value / 10 + value % 10;
    }
    return digits + std::to_string((10 - sum % 10) % 10);
}

Module::Module(const ModuleSpec& spec, int index, const RfField& field)
    : spec_(spec), field_(field), echo_(spec.echo), asleep_(spec.asleep), busyLeft_(spec.busy) {
    if (!spec_.id.empty()) return;
    spec_.id = spec_.isEvdo() ? format("809A%04X", static_cast<unsigned>(0x1B20 + index))
                              : withCheckDigit(format("01234500678%03d", index % 1000));
}

bool Module::takes(const Command& command) const {
    const bool isEvdo = spec_.isEvdo();
    // In the order of Audience.
    const bool takes[] = {true,    isEvdo,  isEvdo && asleep_, !isEvdo,
                          !isEvdo, !isEvdo, diagnostics_,      testMode_};
    return takes[command.audience];
}

Module::Call Module::run(const std::string& text) {
    const std::string capitals = inCapitals(text);
    for (const Command& command : kCommands) {
        if (!takes(command)) continue;
        for (const std::string_view name : command.names) {
            const bool isOpen = name.ends_with('=') || name.ends_with(',');
            const bool isMeant = isOpen ? capitals.starts_with(name) : capitals == name;
            if (isMeant && !name.empty()) return run(command, text.substr(name.size()));
        }
    }
    return {.failure = kError};
}

Module::Call Module::run(const Command& command, const std::string& arguments) {
    Call call{.arguments = arguments, .numbers = integers(arguments)};
    const auto [count, most] = command.numbers;
    if ((count > 0 && call.numbers.size() != count) ||
        (most >= 0 && (call.numbers[0] < 0 || call.numbers[0] > most))) {
        call.failure = kError;
    } else if (command.audience == kCard || command.audience == kOpenCard) {
        call.failure = simTrouble(command.audience == kOpenCard);
    }
    if (!call.failure.empty()) return call;
    if (command.run != nullptr && !command.run(*this, call)) {
        call.failure = kError;
    } else {
        call.text += filled(command.answer, values());
    }
    return call;
}

// Takes one command off those of a line: a basic one, which is a letter, maybe behind an ampersand,
// and a number; or one that reaches to the next semicolon outside of quotes.
Module::Call Module::runNext(std::string_view* commands) {
    const auto take = [commands](std::size_t size) {
        const std::string_view part = commands->substr(0, size);
        commands->remove_prefix(part.size());
        return std::string(part);
    };
    const auto takeNumber = [&] {
        const std::string digits = take(commands->find_first_not_of("0123456789"));
        return digits.empty() ? "0" : digits;
    };
    const char first = commands->front();
    if (first == '&' || std::isalpha(static_cast<unsigned char>(first)) != 0) {
        const std::string name = take(first == '&' ? 2 : 1);
        const std::string number = takeNumber();
        if (first != 'S' && first != 's') return run(name + "=" + number);
        const std::string sign = take(1);
        return run(name + sign + (sign == "=" ? takeNumber() : ""));
    }
    bool quoted = false;
    std::size_t end = 0;
    for (; end < commands->size() && (quoted || (*commands)[end] != ';'); ++end) {
        if ((*commands)[end] == '"') quoted = !quoted;
    }
    return run(take(end));
}

std::vector<Answer> Module::receive(std::string_view line) {
    if (!inCapitals(line).starts_with("AT")) return {};
    Answer answer{.bytes = echo_ ? std::string(line) + "\r" : ""};
    std::string_view commands = line.substr(2);
    std::string_view failure;
    while (failure.empty()) {
        commands.remove_prefix(std::min(commands.find_first_not_of(" ;"), commands.size()));
        if (commands.empty()) break;
        const Call call = runNext(&commands);
        if (!call.text.empty()) answer.bytes += (words_ ? "\r\n" : "") + call.text + "\r\n";
        answer.delay += call.delay;
        failure = call.failure;
    }
    answer.bytes += resultCode(failure);
    return {answer};
}

std::vector<Answer> Module::reject(std::string_view line) {
    if (!inCapitals(line).starts_with("AT")) return {};
    return {{(echo_ ? std::string(line) + "\r" : "") + resultCode(kError)}};
}

std::string Module::unsolicited() const {
    return spec_.isEvdo() ? "\r\n^HRSSILVL: 60\r\n" : "\r\n^RSSI: 18\r\n";
}

std::string Module::resultCode(std::string_view failure) const {
    if (quiet_) return "";
    if (words_) return "\r\n" + std::string(failure.empty() ? "OK" : failure) + "\r\n";
    return (failure.empty() ? "0" : failure == kError ? "4" : std::string(failure)) + "\r";
}

// What the SIM answers instead of doing what it was told, if anything.
std::string_view Module::simTrouble(bool needsPin) {
    if (busyLeft_ > 0) {
        --busyLeft_;
        return "SIM busy";
    }
    const auto& sim = kSim[static_cast<int>(spec_.sim)];
    if (sim.numeric.empty() || (spec_.sim == SimState::kPinPending && !needsPin)) return "";
    return errorReports_ == 0 ? kError : errorReports_ == 1 ? sim.numeric : sim.verbose;
}

bool Module::tune(int band, int number) {
    const auto channel = channelOf(band, number);
    if (!channel) return false;
    band_ = band;
    channel_ = channel;
    channelNumber_ = number;
    return true;
}

Values Module::values() const {
    const auto level = [this](int receiver) {
        return receivedLevel(field_, channel_.value_or(Channel{Radio::kCdma, 0}), receiver,
                             spec_.loss);
    };
    const auto& sim = kSim[static_cast<int>(spec_.sim)];
    const bool registered = radioOn_ && spec_.sim == SimState::kPresent;
    const auto entry = phonebook_.find(1);
    return {
        {"product", format("%04x", static_cast<unsigned>(spec_.productId))},
        {"kind", spec_.isEvdo() ? "ESN" : "IMEI"},
        {"id", spec_.id},
        {"serial", (spec_.isEvdo() ? "0x" : "") + spec_.id},
        {"firmware", spec_.firmware},
        {"hardware", spec_.hardware},
        {"sku", spec_.sku},
        {"prl", spec_.prl},
        {"temperature0", std::to_string(spec_.temperatures[0])},
        {"temperature1", std::to_string(spec_.temperatures[1])},
        {"service", std::string(spec_.isEvdo() ? "255" : sim.service)},
        {"pin", spec_.sim == SimState::kPinPending ? "SIM PIN" : "READY"},
        {"entries", std::to_string(phonebook_.size())},
        {"entry", entry == phonebook_.end() ? "" : entry->second},
        {"places", std::to_string(kPlaces)},
        {"reports", std::to_string(errorReports_)},
        {"registered", registered ? "1" : "0"},
        {"radio", radioOn_ ? "on" : "off"},
        {"function", radioOn_ ? "1" : "0"},
        {"mode", radioOn_ ? "ONLINE" : "LOW POWER"},
        {"signal", radioOn_ ? std::to_string(std::clamp((level(1) + 113) / 2, 0, 31)) : "99"},
        {"asleep", asleep_ ? "yes" : "no"},
        {"test-mode", testMode_ ? "on" : "off"},
        {"band", std::to_string(band_)},
        {"channel", std::to_string(channelNumber_)},
        {"level", std::to_string(level(receiver_))},
        {"transmitter", transmitting_ ? "on" : "off"},
        {"transmit-power", transmitPower_},
    };
}

std::string Module::state() const {
    return filled(
        "product=0x{product}\nradio={radio}\nasleep={asleep}\nphonebook.1={entry}\n"
        "test-mode={test-mode}\nband={band}\nchannel={channel}\n"
        "transmitter={transmitter}\ntransmit-power={transmit-power}\n",
        values());
}

}  // namespace station
