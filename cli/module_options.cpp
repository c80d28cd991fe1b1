#include "cli/module_options.h"

#include <cstdio>
#include <span>

#include "discovery/module_family.h"
#include "modem/identity.h"
#include "modem/power.h"
#include "modem/query.h"
#include "modem/sim_interface.h"
#include "modem/thermistor.h"
#include "platform/bounded_text.h"
#include "platform/host.h"
#include "rf/channel_frequency.h"
#include "rf/signal_strength.h"
#include "rf/transmitter.h"
#include "serial/module_session.h"
#include "siggen/signal_generator.h"

static constexpr std::uint32_t kGeneratorSettling = 3000;  // ms

int reportError(const char* operation, std::int32_t code, int status) {
    printf("ERROR: %s() returns error %d\n", operation, code);
    return status;
}

namespace {

// A query whose answer is printed as a line of text.
struct TextQuery {
    const char* label;  // before the answer
    // `text` is a cleared buffer of kReplySize bytes.
    std::int32_t (*operation)(const char* ttyPath, char* text);
    const char* errorName;  // null: it has printed its error line
};

}  // namespace

static int showText(const char* tty, const TextQuery& query) {
    char text[kReplySize] = {};
    const std::int32_t result = query.operation(tty, text);
    if (result != kModemOk && query.errorName == nullptr) return kExitFailed;
    if (result != kModemOk) return reportError(query.errorName, result, kExitFailed);
    printf("%s%s\n", query.label, text);
    return kExitOk;
}

int ShowIdentifier(const char* tty, const Operands&) {
    return showText(tty, {"", GetIdentifier, nullptr});
}

int ShowSKU(const char* tty, const Operands&) {
    return showText(tty, {"", GetSKU, "GetSKU"});
}

int ShowFirmware(const char* tty, const Operands&) {
    return showText(tty, {"", GetFWRevision, "GetFWRevision"});
}

int ShowTemperature(const char* tty, const Operands&) {
    // Station scripts look for the firmware's name when a temperature fails.
    return showText(tty, {"", GetHWTemperature, "GetFWRevision"});
}

static std::int32_t describeSIM(const char* tty, char* text) {
    char simText[kValueSize] = {};
    std::uint32_t present = 0;
    const std::int32_t result = GetSIMPresence(tty, simText, &present);
    formatText(text, kReplySize, "%d,%s", static_cast<int>(present), simText);
    return result;
}

static constexpr TextQuery kFirmware = {"FW = ", GetFWRevision, "GetFWRevision"};
static constexpr TextQuery kHardware = {"HW = ", GetHWRevision, "GetHWRevision"};
static constexpr TextQuery kStatus = {"STATUS = ", GetWWanStatus, "GetWWanStatus"};
static constexpr TextQuery kEvdoInformation[] = {
    kFirmware,
    kHardware,
    {"PRLVER = ", GetPRLVersion, nullptr},
    kStatus,
};
static constexpr TextQuery kHspaInformation[] = {
    kFirmware,
    kHardware,
    {"SIM PRESENT = ", describeSIM, "GetSIMPresence"},
    {"SIM TYPE = ", GetSIMType, nullptr},
    kStatus,
};

static int showTexts(const char* tty, std::span<const TextQuery> queries) {
    for (const TextQuery& query : queries) {
        const int status = showText(tty, query);
        if (status != kExitOk) return status;
    }
    return kExitOk;
}

int ShowInformation(const char* tty, const Operands&) {
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            return showTexts(tty, kEvdoInformation);
        case ModuleFamily::kHspa:
            return showTexts(tty, kHspaInformation);
        case ModuleFamily::kUnknown:
            break;
    }
    return kExitOk;
}

static int showPresence(std::uint32_t present) {
    puts(present != 0 ? "TRUE" : "FALSE");
    return kExitOk;
}

static int askForPresence(const char* tty) {
    char simText[kValueSize] = {};
    std::uint32_t present = 0;
    const std::int32_t result = GetSIMPresence(tty, simText, &present);
    if (result != kModemOk) return reportError("GetSIMPresence", result, result);
    return showPresence(present);
}

int ShowSIMPresence(const char* tty, const Operands&) {
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:  // has no SIM to ask for
            break;
        case ModuleFamily::kHspa:
        case ModuleFamily::kUnknown:
            return askForPresence(tty);
    }
    return showPresence(0);
}

int VerifySIM(const char* tty, const Operands&) {
    puts(VerifySIMInterface(tty) == 0 ? "PASS" : "FAIL");
    return kExitOk;
}

static int switchPower(const char* tty, std::uint32_t state) {
    const std::int32_t result = SetPowerState(tty, state);
    return result == kModemOk ? kExitOk : reportError("SetPowerState", result, kExitFailed);
}

int PowerOn(const char* tty, const Operands&) {
    return switchPower(tty, 1);
}

int PowerOff(const char* tty, const Operands&) {
    return switchPower(tty, 0);
}

int ShowPower(const char* tty, const Operands&) {
    std::uint32_t state = 0;
    const std::int32_t result = GetPowerState(tty, &state);
    if (result != kModemOk) return reportError("GetPowerState", result, kExitFailed);
    puts(state != 0 ? "ON" : "OFF");
    return kExitOk;
}

int Transmit(const char* tty, const Operands& operands) {
    const auto result = static_cast<std::int32_t>(SetWWanTransmit(
        tty, operands.band, operands.channel, static_cast<std::uint32_t>(operands.power),
        static_cast<std::uint32_t>(operands.enable)));
    // Station scripts know this failure by another operation's name.
    return result == 0 ? kExitOk : reportError("GetWWanBSDPath", result, result);
}

// Reads the level and prints it with the frequency that the channel stands for.
static int showLevel(const char* tty, const Operands& operands, float frequency) {
    const std::int32_t rssi = GetWWanRSSI(
        tty, operands.receiver, static_cast<std::uint32_t>(operands.band), operands.channel);
    if (rssi == kNoReading) {
        puts("ERROR: GetWWanRSSI() unable to obtain rssi");
        return kExitFailed;
    }
    if (operands.outputMode != 0) {
        printf("%d\t%d\t%d\t%f\t%d\n", operands.receiver, operands.band, operands.channel,
               static_cast<double>(frequency), rssi);
    } else {
        printf("%d dBm\n", rssi);
    }
    return kExitOk;
}

static float channelFrequency(const Operands& operands) {
    return FrequencyLookup(static_cast<std::uint32_t>(operands.band), operands.channel);
}

int Receive(const char* tty, const Operands& operands) {
    return showLevel(tty, operands, channelFrequency(operands));
}

int ReceiveFromGenerator(const char* tty, const Operands& operands) {
    const float frequency = channelFrequency(operands);
    // To the carrier itself, as the limits of all stations assume: a test tone would stand 0.067
    // MHz above it in a GSM channel and 1.2 MHz above it in a WCDMA channel.
    std::int32_t result = EnableSignalGenerator(frequency, operands.power);
    if (result != 0) return reportError("EnableSignalGenerator", result, result);
    host::PauseMilliseconds(kGeneratorSettling);
    // A test that finds no level leaves the generator on, to be looked at.
    const int status = showLevel(tty, operands, frequency);
    if (status != kExitOk) return status;
    result = DisableSignalGenerator();
    return result == 0 ? kExitOk : reportError("DisableSignalGenerator", result, result);
}
