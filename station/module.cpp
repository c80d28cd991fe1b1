#include "station/module.h"

#include <algorithm>
#include <cstdio>

#include "station/text.h"

namespace station {

namespace {

struct SimError {
    std::string_view number, words;
};

}  // namespace

// The radio takes its time, and whoever switched it does not wait for the answer.
static constexpr std::chrono::milliseconds kSwitching{200};

static constexpr std::string_view kPassword = "\"K482\"";

// An IMEI of its first fourteen digits.
static std::string withCheckDigit(const std::string& digits) {
    int sum = 0;
    for (std::size_t place = 0; place < digits.size(); ++place) {
        const int value = (digits[place] - '0') * (place % 2 == 0 ? 1 : 2);
        sum += value / 10 + value % 10;
    }
    return digits + std::to_string((10 - sum % 10) % 10);
}

static std::string madeUpId(Family family, int index) {
    switch (family) {
        case Family::kEvdo:
            return format("809A%04X", static_cast<unsigned>(0x1B20 + index));
        case Family::kHspa:
            return withCheckDigit(format("01234500678%03d", index % 1000));
    }
    return "";
}

// What a SIM in this state answers to a command that needs it; nothing from a SIM that is ready.
static SimError errorOf(SimState sim) {
    switch (sim) {
        case SimState::kPresent:
            return {};
        case SimState::kAbsent:
            return {"+CME ERROR: 10", "+CME ERROR: SIM not inserted"};
        case SimState::kPinPending:
            return {"+CME ERROR: 11", "+CME ERROR: SIM PIN required"};
        case SimState::kError:
            return {"+CME ERROR: 13", "+CME ERROR: SIM failure"};
    }
    return {};
}

Module::Module(const ModuleSpec& spec, int index, const RfField& field)
    : spec_(spec), field_(field), atLine_(spec.echo), asleep_(spec.asleep), busyLeft_(spec.busy) {
    if (spec_.id.empty()) spec_.id = madeUpId(spec_.family(), index);
}

std::vector<Answer> Module::receive(std::string_view line) {
    return atLine_.receive(line, [this](const std::string& command) { return execute(command); });
}

std::vector<Answer> Module::reject(std::string_view line) {
    return atLine_.reject(line);
}

// The signal that it receives, in the words and on the scale of its family.
std::string Module::unsolicited() const {
    switch (spec_.family()) {
        case Family::kEvdo:
            return "\r\n^HRSSILVL: 60\r\n";
        case Family::kHspa:
            return "\r\n^RSSI: 18\r\n";
    }
    return "";
}

std::string Module::state() const {
    return filled(
        "product=0x{product}\nradio={radio}\nasleep={asleep}\nphonebook.1={entry}\n"
        "test-mode={test-mode}\nband={band}\nchannel={channel}\n"
        "transmitter={transmitter}\ntransmit-power={transmit-power}\n");
}

bool Module::restoreProfile(Call&) {
    atLine_.reset();
    profile_ = {};
    return true;
}

bool Module::setErrorReports(Call& call) {
    profile_.errorReports = call.numbers[0];
    return true;
}

bool Module::setRegistrationReports(Call& call) {
    profile_.registrationReports = call.numbers[0];
    return true;
}

bool Module::setPacketReports(Call& call) {
    profile_.packetReports = call.numbers[0];
    return true;
}

bool Module::setMessageFormat(Call& call) {
    profile_.messageFormat = call.numbers[0];
    return true;
}

bool Module::switchRadio(Call& call) {
    radioOn_ = call.numbers[0] != 0;
    call.result.delay = kSwitching;
    return true;
}

bool Module::wake(Call&) {
    asleep_ = false;
    return true;
}

bool Module::selectFirstReceiver(Call&) {
    receiver_ = 1;
    return true;
}

bool Module::selectSecondReceiver(Call&) {
    receiver_ = 2;
    return true;
}

bool Module::measureFirstReceiver(Call&) {
    return receiver_ == 1;
}

bool Module::measureSecondReceiver(Call&) {
    return receiver_ == 2;
}

bool Module::tuneToCdma(Call& call) {
    const int band = call.numbers[1];
    return !isBandCode(band) && tune(band, call.numbers[0]);
}

bool Module::openDiagnostics(Call& call) {
    if (call.arguments != kPassword) return false;
    diagnostics_ = true;
    return true;
}

bool Module::enterTestMode(Call&) {
    testMode_ = true;
    band_.reset();
    channel_.reset();
    return true;
}

bool Module::selectBand(Call& call) {
    if (!isBandCode(call.numbers[0])) return false;
    band_ = call.numbers[0];
    return true;
}

bool Module::selectChannel(Call& call) {
    if (band_) return tune(*band_, call.numbers[0]);
    channelNumber_ = call.numbers[0];  // without a band there is nothing to check it against
    return true;
}

bool Module::measureGsm(Call& call) {
    receiver_ = 1;
    return isTunedTo(Radio::kGsm, call.numbers[0]);
}

bool Module::measureWcdma(Call& call) {
    receiver_ = call.numbers[2] == 1 ? 2 : 1;
    return isTunedTo(Radio::kWcdma, call.numbers[0]);
}

bool Module::transmit(Call&) {
    transmitting_ = channel_.has_value();
    return transmitting_;
}

bool Module::stopTransmitting(Call&) {
    transmitting_ = false;
    return true;
}

bool Module::setPowerStep(Call& call) {
    transmitPower_ = std::to_string(call.numbers[0]) + " AGC";
    return true;
}

bool Module::setPowerLevel(Call& call) {
    transmitPower_ = std::to_string(call.numbers[0]) + "/100 dB";
    return true;
}

// Takes FIRST or FIRST,LAST.
bool Module::readPhonebook(Call& call) {
    if (call.numbers.empty() || call.numbers.size() > 2) return false;
    const int first = call.numbers.front();
    const int last = call.numbers.back();
    if (first < 1 || last < first || last > kPlaces) return false;
    std::string& text = call.result.text;
    for (const auto& [place, entry] : phonebook_) {
        if (place < first || place > last) continue;
        text += (text.empty() ? "" : "\r\n") + format("+CPBR: %d,", place) + entry;
    }
    return true;
}

// Takes PLACE,"NUMBER",TYPE,"TEXT"; without a number, or with an empty one, the place is cleared.
bool Module::writePhonebook(Call& call) {
    int place = 0;
    int type = 0;
    char number[64] = "";
    char text[64] = "";
    const char* arguments = call.arguments.c_str();
    const bool writes = std::sscanf(arguments, "%9d,\"%63[^\"]\",%9d,\"%63[^\"]\"", &place, number,
                                    &type, text) >= 3;
    const bool clears =
        std::sscanf(arguments, "%9d,\"\",%9d,\"", &place, &type) == 2 || call.numbers.size() == 1;
    if ((!writes && !clears) || place < 1 || place > kPlaces) return false;
    if (spec_.phonebookStuck) return true;
    phonebook_.erase(place);
    if (writes) phonebook_[place] = format("\"%s\",%d,\"%s\"", number, type, text);
    return true;
}

std::string_view Module::takeSimTrouble(bool needsPin) {
    if (busyLeft_ > 0) {
        --busyLeft_;
        return "SIM busy";
    }
    if (spec_.sim == SimState::kPresent) return "";
    if (spec_.sim == SimState::kPinPending && !needsPin) return "";
    const SimError error = errorOf(spec_.sim);
    if (profile_.errorReports == 0) return kAtError;
    return profile_.errorReports == 1 ? error.number : error.words;
}

bool Module::tune(int band, int number) {
    const std::optional<Channel> channel = channelOf(band, number);
    if (!channel) return false;
    band_ = band;
    channel_ = channel;
    channelNumber_ = number;
    return true;
}

bool Module::isTunedTo(Radio radio, int number) const {
    return channel_ && channel_->radio == radio && channelNumber_ == number;
}

bool Module::isRegistered() const {
    return radioOn_ && spec_.sim == SimState::kPresent;
}

// As +CREG? tells it: whoever asks for all reports is told the cell, too.
std::string Module::registration(int reports) const {
    const bool registered = isRegistered();
    const char* cell = reports == 2 && registered ? ",\"0001\",\"0000B2A1\"" : "";
    return format("%d,%d%s", reports, registered ? 1 : 0, cell);
}

// A receiver that is not tuned has a CDMA receiver's noise.
int Module::level(int receiver) const {
    const Channel channel = channel_.value_or(Channel{Radio::kCdma, 0});
    return receivedLevel(field_, channel, receiver, spec_.loss);
}

// As +CSQ tells it: steps of 2 dB from -113 dBm, or 99 for unknown.
int Module::signalQuality() const {
    return radioOn_ ? std::clamp((level(1) + 113) / 2, 0, 31) : 99;
}

}  // namespace station
