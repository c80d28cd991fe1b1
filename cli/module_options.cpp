#include "cli/module_options.h"

#include <cstdio>

#include "discovery/module_table.h"
#include "modem/identity.h"
#include "modem/power.h"
#include "modem/query.h"
#include "modem/sim_interface.h"
#include "modem/thermistor.h"
#include "platform/host.h"
#include "rf/band_plan.h"
#include "rf/channel_frequency.h"
#include "rf/signal_strength.h"
#include "rf/transmitter.h"
#include "serial/module_session.h"
#include "siggen/signal_generator.h"

static constexpr std::uint32_t kGeneratorSettling = 3000;  // ms

static bool isEvdo() {
    return familyOf(gCardModel) == ModuleFamily::kEvdo;
}

int reportError(const char* operation, std::int32_t code, int status) {
    printf("ERROR: %s() returns error %d\n", operation, code);
    return status;
}

namespace {

// A query whose answer is a text.
struct TextQuery {
    std::int32_t (*operation)(const char* ttyPath, char* text);
    const char* errorName;  // in the error line
    const char* label;      // before the answer
};

}  // namespace

static constexpr TextQuery kFirmware = {GetFWRevision, "GetFWRevision", ""};
static constexpr TextQuery kFirmwareLine = {GetFWRevision, "GetFWRevision", "FW = "};
static constexpr TextQuery kHardwareLine = {GetHWRevision, "GetHWRevision", "HW = "};
static constexpr TextQuery kSKU = {GetSKU, "GetSKU", ""};
// Station scripts look for the firmware's name when a temperature fails.
static constexpr TextQuery kTemperature = {GetHWTemperature, "GetFWRevision", ""};

static int showText(const char* tty, const TextQuery& query) {
    char text[kValueSize] = {};
    const std::int32_t result = query.operation(tty, text);
    if (result != kModemOk) return reportError(query.errorName, result, kExitFailed);
    printf("%s%s\n", query.label, text);
    return kExitOk;
}

int ShowFirmware(const char* tty, const Operands&) {
    return showText(tty, kFirmware);
}

int ShowSKU(const char* tty, const Operands&) {
    return showText(tty, kSKU);
}

int ShowTemperature(const char* tty, const Operands&) {
    return showText(tty, kTemperature);
}

namespace {

// A value that the front end asks for itself. queryValue's code is the exit status.
struct ValueQuery {
    const char* command;
    const char* prefix;
    std::uint32_t afterSeparator;
    signed char separator;
    const char* label;
};

}  // namespace

static constexpr ValueQuery kEsn = {"AT+GSN\r", "0x", 1, 'x', ""};
static constexpr ValueQuery kImei = {"AT+CGSN\r", "0", 0, ' ', ""};
static constexpr ValueQuery kPrlVersion = {"AT!PRLVER?\r", "PRL VER", 1, ':', "PRLVER = "};
static constexpr ValueQuery kSIMType = {"AT^CARDMODE\r", "^CARDMODE:", 1, ':', "SIM TYPE = "};
static_assert(int{kQueryFailed} == int{kExitFailed});

static int showValue(const char* tty, const ValueQuery& query) {
    char value[kValueSize] = {};
    const std::int32_t result =
        queryValue(tty, query.command, query.prefix, query.afterSeparator, query.separator, value);
    if (result != kModemOk) return result;
    printf("%s%s\n", query.label, value);
    return kExitOk;
}

int ShowIdentifier(const char* tty, const Operands&) {
    return showValue(tty, isEvdo() ? kEsn : kImei);
}

static int showSIMLine(const char* tty) {
    char simText[kValueSize] = {};
    std::uint32_t present = 0;
    const std::int32_t result = GetSIMPresence(tty, simText, &present);
    if (result != kModemOk) return reportError("GetSIMPresence", result, kExitFailed);
    printf("SIM PRESENT = %d,%s\n", static_cast<int>(present), simText);
    return kExitOk;
}

static int showStatusLine(const char* tty) {
    char status[kReplySize] = {};
    const std::int32_t result = GetWWanStatus(tty, status);
    if (result != kModemOk) return reportError("GetWWanStatus", result, kExitFailed);
    printf("STATUS = %s\n", status);
    return kExitOk;
}

static int showSubscription(const char* tty) {
    if (isEvdo()) return showValue(tty, kPrlVersion);
    const int result = showSIMLine(tty);
    return result != kExitOk ? result : showValue(tty, kSIMType);
}

int ShowInformation(const char* tty, const Operands&) {
    int result = showText(tty, kFirmwareLine);
    if (result == kExitOk) result = showText(tty, kHardwareLine);
    if (result == kExitOk) result = showSubscription(tty);
    if (result == kExitOk) result = showStatusLine(tty);
    return result;
}

int ShowSIMPresence(const char* tty, const Operands&) {
    char simText[kValueSize] = {};
    std::uint32_t present = 0;
    // A module without a SIM need not be asked.
    if (!isEvdo()) {
        const std::int32_t result = GetSIMPresence(tty, simText, &present);
        if (result != kModemOk) return reportError("GetSIMPresence", result, result);
    }
    puts(present != 0 ? "TRUE" : "FALSE");
    return kExitOk;
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
    // The name of another operation, by which station scripts know this failure.
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

// The frequency at which a test tone would stand within the channel.
static float offsetFrequency(const Operands& operands, float frequency) {
    const Band* band = findBand(operands.band);
    if (band == nullptr) return frequency;
    const double widened = static_cast<double>(frequency);
    switch (band->standard) {
        case RadioStandard::kCdma:
            break;
        case RadioStandard::kGsm:
            return static_cast<float>(widened + 0.067);
        case RadioStandard::kWcdma:
            return static_cast<float>(widened + 1.2);
    }
    return frequency + 0.0F;
}

int ReceiveFromGenerator(const char* tty, const Operands& operands) {
    const float frequency = channelFrequency(operands);
    // Known, but not used: the limits of every station rest on a generator tuned to the channel.
    [[maybe_unused]] const float toneFrequency = offsetFrequency(operands, frequency);
    std::int32_t result = EnableSignalGenerator(frequency, operands.power);
    if (result != 0) return reportError("EnableSignalGenerator", result, result);
    host::PauseMilliseconds(kGeneratorSettling);
    // A test that finds no level leaves the generator on, to be looked at.
    const int status = showLevel(tty, operands, frequency);
    if (status != kExitOk) return status;
    result = DisableSignalGenerator();
    return result == 0 ? kExitOk : reportError("DisableSignalGenerator", result, result);
}
