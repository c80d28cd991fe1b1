#include "rf/transmitter.h"

#include "discovery/module_family.h"
#include "rf/band_plan.h"
#include "rf/diagnostic_mode.h"
#include "serial/module_session.h"

// Each step returns false when an exchange has failed, which has closed the port.

static bool startWcdma(ModuleSession* session, std::uint32_t power) {
    return issueCommand(session, "AT!DASTXON\r") && issueCommand(session, "AT!DAWSTXCW=0\r") &&
           issueCommand(session, "AT!DASPDM=2,%d\r", static_cast<std::int32_t>(power)) &&
           issueCommand(session, "AT!DAWSPARANGE=3\r");
}

static bool startGsm(ModuleSession* session, std::uint32_t power) {
    return issueCommand(session, "AT!DAGSTXFRAME=0,1,%d,0\r",
                        static_cast<std::int32_t>(power * 100)) &&
           issueCommand(session, "AT!DASTXON\r");
}

static bool startInDiagnosticMode(ModuleSession* session, const Band* band, std::int32_t channel,
                                  std::uint32_t power) {
    if (!enterDiagnosticMode(session)) return false;
    prepareBandCommand(session, band);
    if (!sendCommand(session) || !issueCommand(session, "AT!DASCHAN=%d\r", channel)) return false;
    if (band == nullptr) return true;
    switch (band->standard) {
        case RadioStandard::kWcdma:
            return startWcdma(session, power);
        case RadioStandard::kGsm:
            return startGsm(session, power);
        case RadioStandard::kCdma:
            break;
    }
    return true;
}

static bool startTransmitter(ModuleSession* session, std::int32_t band, std::int32_t channel,
                             std::uint32_t power) {
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            // Printed but not returned: the close's code takes its place.
            reportNotSupported("SetWWanTransmit");
            return true;
        case ModuleFamily::kHspa:
            return startInDiagnosticMode(session, findBand(band), channel, power);
        case ModuleFamily::kUnknown:
            break;
    }
    return true;
}

std::uint32_t SetWWanTransmit(const char* ttyPath, std::int32_t band, std::int32_t channel,
                              std::uint32_t power, std::uint32_t enable) {
    ModuleSession session;
    const int result = openModule(&session, "SetWWanTransmit", ttyPath);
    if (result != kSerialOk) return static_cast<std::uint32_t>(result);
    const bool answered = enable == 0 ? issueCommand(&session, "AT!DASTXOFF\r")
                                      : startTransmitter(&session, band, channel, power);
    return static_cast<std::uint32_t>(answered ? closeModule(&session) : kSerialOk);
}
