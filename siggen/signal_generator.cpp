#include "siggen/signal_generator.h"

#include <cstdio>
#include <span>

#include "discovery/kernel_extension.h"
#include "discovery/serial_device.h"
#include "platform/bounded_text.h"
#include "platform/host.h"
#include "serial/module_session.h"
#include "serial/serial_port.h"

static constexpr const char* kDriverDirectory = "/Brek/Runtime_Files/Kexts";
static constexpr const char* kDriverName = "KeyspanUSAdriver";
static constexpr const char* kAdapterNode = "/dev/tty.KeySerial1";

static constexpr std::size_t kIdentificationSize = 256;
static constexpr std::uint32_t kIdentificationPause = 2000;  // ms

namespace {

// What the format of a command takes.
enum class Operand { kNone, kFrequency, kPower };

struct GeneratorCommand {
    const char* format;
    Operand operand = Operand::kNone;
};

struct OutputSetting {
    double frequency = 0;  // MHz
    std::int32_t power = 0;
};

struct GeneratorLink {
    const char* operation;  // leads the report lines
    bool tellsStep;         // on failure the step's code is returned, not kGeneratorFailed
    int fd;
    std::uint32_t driverWasLoaded;
    char command[kCommandSize];
    char message[kMessageSize];
};

}  // namespace

static constexpr GeneratorCommand kEnable[] = {
    {"*RST"},
    {":SYST:DISP:UPD ON"},
    {"SOUR:FREQ %fMHz", Operand::kFrequency},
    {"SOUR:POWer:MODE FIX"},
    {"SOUR:POWer:LEVel %d", Operand::kPower},
    {"OUTPut1:STATe ON"},
};
static constexpr GeneratorCommand kDisable[] = {
    {"OUTPut1:STATe OFF"},
    {":SYST:DISP:UPD OFF"},
};

// The layers below have codes of their own, which are passed on; 0, as kGeneratorOk, is success in
// each of them.

static std::int32_t abandonLink(GeneratorLink* link, std::int32_t code) {
    CloseSerialPort(link->fd, link->message);
    unloadKext(kDriverDirectory, kDriverName, link->message);
    return link->tellsStep ? code : kGeneratorFailed;
}

static std::int32_t failLink(GeneratorLink* link, std::int32_t code) {
    reportCode(link->operation, code, link->message);
    return abandonLink(link, code);
}

static std::int32_t reachGenerator(GeneratorLink* link) {
    std::int32_t result =
        loadKext(kDriverDirectory, kDriverName, &link->driverWasLoaded, link->message);
    if (result != kGeneratorOk) return result;
    result = verifyDeviceConnected(kAdapterNode, link->message);
    if (result != kGeneratorOk) return result;
    return openWithProfile(kAdapterNode, kGeneratorProfile, &link->fd, link->message);
}

// Returns kGeneratorOk. Otherwise the failure has been reported and cleaned up after, and this is
// what the operation is to return.
static std::int32_t openLink(GeneratorLink* link, const char* operation, bool tellsStep) {
    *link = {operation, tellsStep, -1, 0, "", ""};
    fflush(stdout);  // what is known so far is seen before waits that may be ended from outside
    const std::int32_t result = reachGenerator(link);
    return result == kGeneratorOk ? kGeneratorOk : failLink(link, result);
}

// What the operation is to return.
static std::int32_t closeLink(GeneratorLink* link) {
    std::int32_t result = CloseSerialPort(link->fd, link->message);
    if (result != kGeneratorOk) return failLink(link, result);
    if (link->driverWasLoaded != 0) return kGeneratorOk;
    result = unloadKext(kDriverDirectory, kDriverName, link->message);
    if (result != kGeneratorOk) reportCode(link->operation, result, link->message);
    return result;
}

static std::int32_t identify(GeneratorLink* link) {
    std::int32_t result = writeSerialPort(link->fd, "*RST", link->message);
    if (result != kGeneratorOk) return result;
    result = writeSerialPort(link->fd, "*IDN?", link->message);
    if (result != kGeneratorOk) return result;
    host::PauseMilliseconds(kIdentificationPause);
    // Cleared as a whole: a read that fails terminates nothing, and what had come is shown.
    char identification[kIdentificationSize] = {};
    result = readSerialPort(link->fd, identification, sizeof identification, link->message);
    printf("Device Identification = %s\n", identification);
    return result;
}

std::int32_t VerifySignalGeneratorConnection() {
    GeneratorLink link;
    std::int32_t result = openLink(&link, "VerifySignalGeneratorConnection", true);
    if (result != kGeneratorOk) return result;
    result = identify(&link);
    return result == kGeneratorOk ? closeLink(&link) : failLink(&link, result);
}

static void formatCommand(const GeneratorCommand& command, const OutputSetting& setting,
                          char* text) {
    switch (command.operand) {
        case Operand::kNone:
            copyText(text, kCommandSize, command.format);
            break;
        case Operand::kFrequency:
            formatText(text, kCommandSize, command.format, setting.frequency);
            break;
        case Operand::kPower:
            formatText(text, kCommandSize, command.format, setting.power);
            break;
    }
}

// Nothing is read back. A failure is reported in the generator's own form, without dashes, and
// cleaned up after.
static bool writeCommand(GeneratorLink* link) {
    const int result = writeSerialPort(link->fd, link->command, link->message);
    if (result == kGeneratorOk) return true;
    printf("%s: error while issue command %s code= %d, msg= %s\n", link->operation, link->command,
           result, link->message);
    abandonLink(link, result);
    return false;
}

static std::int32_t runCommands(const char* operation, std::span<const GeneratorCommand> commands,
                                const OutputSetting& setting) {
    GeneratorLink link;
    const std::int32_t result = openLink(&link, operation, false);
    if (result != kGeneratorOk) return result;
    for (const GeneratorCommand& command : commands) {
        formatCommand(command, setting, link.command);
        if (!writeCommand(&link)) return kGeneratorFailed;
    }
    return closeLink(&link);
}

std::int32_t EnableSignalGenerator(float frequency, std::int32_t power) {
    return runCommands("EnableSignalGenerator", kEnable, {static_cast<double>(frequency), power});
}

std::int32_t DisableSignalGenerator() {
    return runCommands("DisableSignalGenerator", kDisable, {});
}
