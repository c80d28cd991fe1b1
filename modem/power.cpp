#include "modem/power.h"

#include "discovery/module_family.h"
#include "modem/query.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

static std::int32_t readPowerState(const char* ttyPath, std::uint32_t* state) {
    char value[kValueSize] = {};
    const std::int32_t result = queryValue(ttyPath, "AT+CFUN?\r", "+CFUN:", 1, ' ', value);
    if (result != kModemOk) return result;
    *state = parseInteger(value) > 0 ? 1 : 0;
    return kModemOk;
}

std::int32_t GetPowerState(const char* ttyPath, std::uint32_t* state) {
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            return reportNotSupported("GetPowerState()");
        case ModuleFamily::kHspa:
            return readPowerState(ttyPath, state);
        case ModuleFamily::kUnknown:
            break;
    }
    return kModemOk;
}

std::int32_t SetPowerState(const char* ttyPath, std::uint32_t state) {
    ModuleSession session;
    const int result = openModule(&session, "SetPowerState", ttyPath);
    if (result != kModemOk) return result;
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            // Printed but not returned: stations switch mixed sets of modules in one run.
            reportNotSupported("SetPowerState");
            break;
        case ModuleFamily::kHspa:
            prepareCommand(&session, "AT+CFUN=%d", state != 0 ? 1 : 0);
            if (!postCommand(&session)) return kModemOk;
            break;
        case ModuleFamily::kUnknown:
            break;
    }
    return closeModule(&session);
}
