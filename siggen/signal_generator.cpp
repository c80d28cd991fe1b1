#include "siggen/signal_generator.h"

#include <cstdarg>
#include <cstdio>

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

struct GeneratorLink {
    const char* operation;  // leads the report lines
    bool tellsStep;         // on failure the step's code is returned, not kGeneratorFailed
    int fd;
    std::uint32_t driverWasLoaded;
    char command[kCommandSize];
    char message[kMessageSize];
};

}  // namespace

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
    if (result != kKextOk) return result;
    result = verifyDeviceConnected(kAdapterNode, link->message);
    if (result != kDeviceOk) return result;
    return openWithProfile(kAdapterNode, kGeneratorProfile, &link->fd, link->message);
}

// 0, or what the operation is to return: the failure has been reported and cleaned up after.
static std::int32_t openLink(GeneratorLink* link, const char* operation, bool tellsStep) {
    *link = {operation, tellsStep, -1, 0, "", ""};
    fflush(stdout);  // what is known so far is seen before waits that may be ended from outside
    const std::int32_t result = reachGenerator(link);
    return result == kSerialOk ? 0 : failLink(link, result);
}

// What the operation is to return.
static std::int32_t closeLink(GeneratorLink* link) {
    std::int32_t result = CloseSerialPort(link->fd, link->message);
    if (result != kSerialOk) return failLink(link, result);
    if (link->driverWasLoaded != 0) return 0;
    result = unloadKext(kDriverDirectory, kDriverName, link->message);
    if (result != kKextOk) reportCode(link->operation, result, link->message);
    return result;
}

static std::int32_t identify(GeneratorLink* link) {
    std::int32_t result = writeSerialPort(link->fd, "*RST", link->message);
    if (result != kSerialOk) return result;
    result = writeSerialPort(link->fd, "*IDN?", link->message);
    if (result != kSerialOk) return result;
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
    if (result != 0) return result;
    result = identify(&link);
    return result == kSerialOk ? closeLink(&link) : failLink(&link, result);
}

// Formats a command and writes it; nothing is read back. A failure is reported in the generator's
// own form, without dashes, and cleaned up after.
__attribute__((format(printf, 2, 3))) static bool writeCommand(GeneratorLink* link,
                                                               const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    formatArguments(link->command, sizeof link->command, format, arguments);
    va_end(arguments);
    const int result = writeSerialPort(link->fd, link->command, link->message);
    if (result == kSerialOk) return true;
    printf("%s: error while issue command %s code= %d, msg= %s\n", link->operation, link->command,
           result, link->message);
    abandonLink(link, result);
    return false;
}

std::int32_t EnableSignalGenerator(float frequency, std::int32_t power) {
    GeneratorLink link;
    const std::int32_t result = openLink(&link, "EnableSignalGenerator", false);
    if (result != 0) return result;
    const bool written = writeCommand(&link, "*RST") && writeCommand(&link, ":SYST:DISP:UPD ON") &&
                         writeCommand(&link, "SOUR:FREQ %fMHz", static_cast<double>(frequency)) &&
                         writeCommand(&link, "SOUR:POWer:MODE FIX") &&
                         writeCommand(&link, "SOUR:POWer:LEVel %d", power) &&
                         writeCommand(&link, "OUTPut1:STATe ON");
    return written ? closeLink(&link) : kGeneratorFailed;
}

std::int32_t DisableSignalGenerator() {
    GeneratorLink link;
    const std::int32_t result = openLink(&link, "DisableSignalGenerator", false);
    if (result != 0) return result;
    const bool written =
        writeCommand(&link, "OUTPut1:STATe OFF") && writeCommand(&link, ":SYST:DISP:UPD OFF");
    return written ? closeLink(&link) : kGeneratorFailed;
}
