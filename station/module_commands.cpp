#include <algorithm>
#include <iterator>
#include <sstream>
#include <utility>

#include "station/module.h"
#include "station/text.h"

// What a module hears: its commands and what it answers to them.
namespace station {

// Who hears a command.
enum Module::Audience : int {
    kAll,          // every module
    kEvdo,         // EVDO modules
    kAsleep,       // EVDO modules while they sleep
    kHspa,         // HSPA modules
    kSim,          // HSPA modules; their SIM answers in its turn if it cannot be read
    kUnlockedSim,  // likewise, or if it waits for its PIN
    kDiagnostics,  // HSPA modules after the password
    kTestMode,     // HSPA modules in test mode
};

// A command stands here as behind AT; one that ends in = or a comma is followed by arguments. A
// basic command, such as I1, stands here as I=. Rows are looked through in their order.
struct Module::Command {
    Audience audience;
    std::string_view names[4];
    std::string_view answer = "";  // with {names} of values
    struct {
        std::size_t integers = 0;      // so many, and nothing else; 0: anything
        std::optional<int> most = {};  // the first integer is from 0 to this; none: any
    } arguments = {};
    // Done before the answer, which is ERROR if it returns false; null for nothing.
    bool (Module::*run)(Call& call) = nullptr;
};

const Module::Command Module::kCommands[] = {
    {kEvdo, {"+GCAP"}, "+GCAP: +CIS707-A, +MS, +ES, +DS"},
    {kEvdo, {"+GSN", "+CGSN"}, "0x{id}"},
    {kEvdo, {"^SYSINFO"}, "^SYSINFO:2,3,0,5,255"},
    {kEvdo,
     {"I="},
     "Manufacturer: Orvel\r\nModel: WWAN-{product}\r\nRevision: {firmware}\r\nESN: {id}"},
    {kEvdo, {"!MDMVER?"}, "Modem Version:\r\nS/W VER: {firmware}\r\nPRI VER: 02.07"},
    {kEvdo, {"!PRLVER?"}, "PRL VER:{prl}"},
    {kAsleep, {"!STATUS"}, "Band: none\r\nChannel: none\r\nPower mode: Sleep"},
    {kEvdo,
     {"!STATUS"},
     "Band: {band}\r\nChannel: {channel}\r\nPower mode: Awake\r\nTemperature: {temperature0} C\r\n"
     "System: Idle"},
    {kEvdo, {"!OEM=176"}},
    {kEvdo, {"!DIAG"}, "", {}, &Module::wake},
    {kEvdo, {"!RX=1"}, "", {}, &Module::selectFirstReceiver},
    {kEvdo, {"!RX2=1"}, "", {}, &Module::selectSecondReceiver},
    {kEvdo, {"!CHAN?"}, "Channel = {channel}"},
    {kEvdo, {"!CHAN="}, "", {.integers = 2}, &Module::tuneToCdma},
    {kEvdo, {"!RXAGC?"}, "RX AGC = {level} dBm", {}, &Module::measureFirstReceiver},
    {kEvdo, {"!RX2AGC?"}, "RX2 AGC = {level} dBm", {}, &Module::measureSecondReceiver},

    {kHspa, {"+GCAP"}, "+GCAP: +CGSM, +DS, +ES"},
    {kHspa, {"+GSN", "+CGSN"}, "{id}"},
    {kHspa, {"^SYSINFO"}, "^SYSINFO:2,3,0,5,{service}"},
    {kHspa,
     {"I="},
     "Manufacturer: Orvel\r\nModel: WWAN-{product}\r\nRevision: {firmware}\r\nIMEI: {id}"},
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
    {kHspa, {"+CFUN="}, "", {.integers = 1, .most = 1}, &Module::switchRadio},

    {kSim, {"+CPIN?"}, "+CPIN: {pin}"},
    {kUnlockedSim, {"+CIMI"}, "001010000000001"},
    {kHspa, {"+CPBS=?"}, "+CPBS: (\"SM\")"},
    {kHspa, {"+CPBS?"}, "+CPBS: \"SM\",{entries},{places}"},
    {kHspa, {"+CPBR=?"}, "+CPBR: (1-{places}),63,63"},
    {kUnlockedSim, {"+CPBR="}, "", {}, &Module::readPhonebook},
    {kHspa, {"+CPBW=?"}, "+CPBW: (1-{places}),63,(129,145),63"},
    {kUnlockedSim, {"+CPBW="}, "", {}, &Module::writePhonebook},

    {kHspa, {"!ENTERCND="}, "", {}, &Module::openDiagnostics},
    {kDiagnostics, {"!DAFTMACT"}, "", {}, &Module::enterTestMode},
    {kTestMode, {"!DASBAND="}, "", {.integers = 1}, &Module::selectBand},
    {kTestMode, {"!DASCHAN="}, "", {.integers = 1}, &Module::selectChannel},
    {kTestMode, {"!DASLNAGAIN=", "!DAWSSCHAIN=", "!DAGSRXBURST="}, "", {.integers = 1}},
    {kTestMode, {"!DAGGAVGRSSI="}, "{level} dBm", {.integers = 2}, &Module::measureGsm},
    {kTestMode, {"!DAWGAVGAGC="}, "{level}", {.integers = 3}, &Module::measureWcdma},
    {kTestMode, {"!DASTXON"}, "", {}, &Module::transmit},
    {kAll, {"!DASTXOFF"}, "", {}, &Module::stopTransmitting},
    {kTestMode, {"!DAWSTXCW=", "!DAWSPARANGE="}, "", {.integers = 1}},
    {kTestMode, {"!DASPDM=2,"}, "", {.integers = 1, .most = 511}, &Module::setPowerStep},
    {kTestMode, {"!DAGSTXFRAME=0,1,"}, "", {.integers = 2, .most = 3300}, &Module::setPowerLevel},

    // What all modules have, and other people's programs ask for.
    {kAll, {"+GMI", "+CGMI"}, "Orvel"},
    {kAll, {"+GMM", "+CGMM"}, "WWAN-{product}"},
    {kAll, {"+GMR", "+CGMR"}, "{firmware}"},
    {kAll, {"+GMI=?", "+CGMI=?", "+GMM=?", "+CGMM=?"}},
    {kAll, {"+GMR=?", "+CGMR=?", "+GSN=?", "+CGSN=?"}},
    {kAll, {"+CSQ=?"}, "+CSQ: (0-31,99),(99)"},
    {kAll, {"+CSQ"}, "+CSQ: {signal},99"},
    {kAll, {"+FCLASS=?", "+FCLASS?"}, "0"},
    {kAll, {"+FCLASS=0"}},
    {kAll, {"+CSCS=?"}, "+CSCS: (\"GSM\")"},
    {kAll, {"+CSCS?"}, "+CSCS: \"GSM\""},
    {kAll, {"+CSCS=\"GSM\""}},
    {kAll, {"+CMEE=?"}, "+CMEE: (0-2)"},
    {kAll, {"+CMEE?"}, "+CMEE: {reports}"},
    {kAll, {"+CMEE="}, "", {.integers = 1, .most = 2}, &Module::setErrorReports},
    {kHspa, {"+CREG=?"}, "+CREG: (0-2)"},
    {kHspa, {"+CREG?"}, "+CREG: {registration}"},
    {kHspa, {"+CREG="}, "", {.integers = 1, .most = 2}, &Module::setRegistrationReports},
    {kHspa, {"+CGREG=?"}, "+CGREG: (0-2)"},
    {kHspa, {"+CGREG?"}, "+CGREG: {packet-registration}"},
    {kHspa, {"+CGREG="}, "", {.integers = 1, .most = 2}, &Module::setPacketReports},
    {kHspa, {"+CGATT?"}, "+CGATT: {attached}"},
    {kHspa, {"+COPS?"}, "+COPS: 0,0,\"Test\",2"},
    {kHspa, {"+CNUM", "+CPBS=\"SM\""}},
    {kHspa, {"+CLCK=\"SC\",2"}, "+CLCK: 0"},
    {kHspa, {"+CSCA?"}, "+CSCA: \"\",129"},
    {kHspa, {"+CSMS?"}, "+CSMS: 0,1,1,1"},
    {kHspa, {"+CMGF=?"}, "+CMGF: (0,1)"},
    {kHspa, {"+CMGF?"}, "+CMGF: {message-format}"},
    {kHspa, {"+CMGF="}, "", {.integers = 1, .most = 1}, &Module::setMessageFormat},
    {kAll, {"Z=", "&F="}, "", {}, &Module::restoreProfile},
    {kAll, {"H=", "X=", "&C=", "&D="}},
    {kAll, {"S="}},
    {kAll, {"S?"}, "000"},
};

// What stands in braces in an answer, or in the state.
struct Module::Value {
    std::string_view name;
    std::string (*of)(const Module& module);
};

static std::string onOrOff(bool on) {
    return on ? "on" : "off";
}

// The last field of ^SYSINFO: whether there is a SIM that can be used.
static std::string serviceOf(SimState sim) {
    switch (sim) {
        case SimState::kPresent:
        case SimState::kPinPending:
            return "1";
        case SimState::kAbsent:
            return "255";
        case SimState::kError:
            return "0";
    }
    return "";
}

const Module::Value Module::kValues[] = {
    {"product", [](const Module& module) { return format("%04x", module.spec_.productId); }},
    {"id", [](const Module& module) { return module.spec_.id; }},
    {"firmware", [](const Module& module) { return module.spec_.firmware; }},
    {"hardware", [](const Module& module) { return module.spec_.hardware; }},
    {"sku", [](const Module& module) { return module.spec_.sku; }},
    {"prl", [](const Module& module) { return module.spec_.prl; }},
    {"temperature0",
     [](const Module& module) { return format("%d", module.spec_.temperatures[0]); }},
    {"temperature1",
     [](const Module& module) { return format("%d", module.spec_.temperatures[1]); }},
    {"service", [](const Module& module) { return serviceOf(module.spec_.sim); }},
    {"pin",
     [](const Module& module) {
         return std::string(module.spec_.sim == SimState::kPinPending ? "SIM PIN" : "READY");
     }},
    {"places", [](const Module&) { return format("%d", kPlaces); }},
    {"entries", [](const Module& module) { return format("%zu", module.phonebook_.size()); }},
    {"entry",
     [](const Module& module) {
         const auto entry = module.phonebook_.find(1);
         return entry == module.phonebook_.end() ? "" : entry->second;
     }},
    {"reports", [](const Module& module) { return format("%d", module.profile_.errorReports); }},
    {"registration",
     [](const Module& module) { return module.registration(module.profile_.registrationReports); }},
    {"packet-registration",
     [](const Module& module) { return module.registration(module.profile_.packetReports); }},
    {"attached", [](const Module& module) { return format("%d", module.isRegistered() ? 1 : 0); }},
    {"message-format",
     [](const Module& module) { return format("%d", module.profile_.messageFormat); }},
    {"radio", [](const Module& module) { return onOrOff(module.radioOn_); }},
    {"function", [](const Module& module) { return format("%d", module.radioOn_ ? 1 : 0); }},
    {"mode",
     [](const Module& module) { return std::string(module.radioOn_ ? "ONLINE" : "LOW POWER"); }},
    {"signal", [](const Module& module) { return format("%d", module.signalQuality()); }},
    {"asleep", [](const Module& module) { return std::string(module.asleep_ ? "yes" : "no"); }},
    {"test-mode", [](const Module& module) { return onOrOff(module.testMode_); }},
    {"band", [](const Module& module) { return format("%d", module.band_.value_or(0)); }},
    {"channel", [](const Module& module) { return format("%d", module.channelNumber_); }},
    {"level", [](const Module& module) { return format("%d", module.level(module.receiver_)); }},
    {"transmitter", [](const Module& module) { return onOrOff(module.transmitting_); }},
    {"transmit-power", [](const Module& module) { return module.transmitPower_; }},
};

// The integers of "1,2,3"; none when a part is no integer.
static std::vector<int> integersOf(const std::string& text) {
    std::vector<int> integers;
    std::istringstream parts(text + ",");
    char comma = 0;
    for (int integer = 0; parts >> integer >> comma && comma == ',';) integers.push_back(integer);
    return parts.eof() ? integers : std::vector<int>();
}

static bool isCalled(const std::string& text, std::string_view name) {
    const bool isOpen = name.ends_with('=') || name.ends_with(',');
    return !name.empty() && (isOpen ? text.starts_with(name) : text == name);
}

bool Module::hears(Audience audience) const {
    const Family family = spec_.family();
    switch (audience) {
        case kAll:
            return true;
        case kEvdo:
            return family == Family::kEvdo;
        case kAsleep:
            return family == Family::kEvdo && asleep_;
        case kHspa:
        case kSim:
        case kUnlockedSim:
            return family == Family::kHspa;
        case kDiagnostics:
            return diagnostics_;
        case kTestMode:
            return testMode_;
    }
    return false;
}

AtResult Module::execute(const std::string& text) {
    const std::string capitals = inCapitals(text);
    for (const Command& command : kCommands) {
        if (!hears(command.audience)) continue;
        for (const std::string_view name : command.names) {
            if (isCalled(capitals, name)) return execute(command, text.substr(name.size()));
        }
    }
    return {.failure = kAtError};
}

AtResult Module::execute(const Command& command, const std::string& arguments) {
    Call call{.arguments = arguments, .numbers = integersOf(arguments)};
    const auto& [integers, most] = command.arguments;
    if (integers > 0 && call.numbers.size() != integers) return {.failure = kAtError};
    if (most && (call.numbers[0] < 0 || call.numbers[0] > *most)) return {.failure = kAtError};
    if (command.audience == kSim || command.audience == kUnlockedSim) {
        const std::string_view trouble = takeSimTrouble(command.audience == kUnlockedSim);
        if (!trouble.empty()) return {.failure = trouble};
    }
    if (command.run != nullptr && !(this->*command.run)(call)) return {.failure = kAtError};
    call.result.text += filled(command.answer);
    return call.result;
}

std::string Module::value(std::string_view name) const {
    const auto* value = std::find_if(std::begin(kValues), std::end(kValues),
                                     [name](const Value& known) { return known.name == name; });
    if (value == std::end(kValues)) return "{" + std::string(name) + "}";
    return value->of(*this);
}

std::string Module::filled(std::string_view answer) const {
    std::string result;
    while (!answer.empty()) {
        const std::size_t open = std::min(answer.find('{'), answer.size());
        result += answer.substr(0, open);
        answer.remove_prefix(open);
        if (answer.empty()) break;
        const std::size_t close = answer.find('}');
        result += value(answer.substr(1, close - 1));
        answer.remove_prefix(close + 1);
    }
    return result;
}

std::vector<std::string> Module::everyAnswer() const {
    std::vector<std::string> answers;
    for (const Command& command : kCommands) answers.push_back(filled(command.answer));
    return answers;
}

}  // namespace station
