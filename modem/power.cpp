#include "modem/power.h"

#include "discovery/module_table.h"
#include "modem/query.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

std::int32_t GetPowerState(const char* ttyPath, std::uint32_t* state) {
    const ModuleFamily family = familyOf(gCardModel);
    if (family == ModuleFamily::kEvdo) return reportNotSupported("GetPowerState()");
    if (family == ModuleFamily::kUnknown) return kModemOk;
    char value[kValueSize] = {};
    const std::int32_t result = queryValue(ttyPath, "AT+CFUN?\r", "+CFUN:", 1, ' ', value);
    if (result != kModemOk) return result;
    *state = parseInteger(value) > 0 ? 1 : 0;
    return kModemOk;
}

std::int32_t SetPowerState(const char* ttyPath, std::uint32_t state) {
    ModuleSession session;
    const int result = openModule(&session, "SetPowerState", ttyPath);
    if (result != kSerialOk) return result;
    const ModuleFamily family = familyOf(gCardModel);
    if (family == ModuleFamily::kEvdo) {
        // Printed but not returned: stations switch mixed sets of modules in one run.
        reportNotSupported("SetPowerState");
    } else if (family == ModuleFamily::kHspa) {
        prepareCommand(&session, "AT+CFUN=%d", state != 0 ? 1 : 0);
        if (!postCommand(&session)) return kModemOk;
    }
    return closeModule(&session);
}
