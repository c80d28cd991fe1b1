#include "modem/thermistor.h"

#include <cstdio>
#include <cstring>

#include "discovery/module_family.h"
#include "modem/query.h"
#include "platform/bounded_text.h"
#include "rf/signal_strength.h"
#include "serial/command_exchange.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

static std::int32_t readStatus(const char* ttyPath, char* status) {
    const std::int32_t result = GetWWanStatus(ttyPath, status);
    if (result == kModemOk) return kModemOk;
    printf("ERROR: GetWWanStatus() returns error %d\n", result);
    return kQueryFailed;
}

static bool isAsleep(const char* status) {
    return strstr(status, "Sleep") != nullptr;
}

// The status report of a module that is awake. A measurement wakes it; what it reads is not used.
static std::int32_t readAwakeStatus(const char* ttyPath, char* status) {
    std::int32_t result = readStatus(ttyPath, status);
    if (result != kModemOk || !isAsleep(status)) return result;
    if (GetWWanRSSI(ttyPath, 1, 0, 0) == kNoReading) {
        puts("ERROR: GetWWanRSSI() unable to obtain rssi");
        return kQueryFailed;
    }
    result = readStatus(ttyPath, status);
    if (result != kModemOk || !isAsleep(status)) return result;
    puts("ERROR: GetHWTemperature() module still in SLEEP mode");
    return kQueryFailed;
}

static std::int32_t readFromStatus(const char* ttyPath, char* temperature) {
    char status[kReplySize] = {};
    const std::int32_t result = readAwakeStatus(ttyPath, status);
    if (result != kModemOk) return result;
    char line[kReplySize];
    ParseStringForLine("\n", status, 4, line);
    TokenWalker words = walkTokens(line);
    const char* degrees = findToken(&words, " ", 2);
    formatText(temperature, kValueSize, "%d", degrees != nullptr ? parseInteger(degrees) : 0);
    return kModemOk;
}

static std::int32_t readThermistors(const char* ttyPath, char* temperature) {
    ModuleSession session;
    std::int32_t result = openModule(&session, "GetHWTemperature", ttyPath);
    if (result != kModemOk) return result;
    std::int32_t degrees[2] = {};
    for (int index = 0; index < 2; ++index) {
        char reply[kReplySize];
        char line[kReplySize];
        prepareCommand(&session, "AT!DTEMP? %d\r", index);
        if (!queryReply(&session, "", reply)) return kModemOk;
        ParseStringForLine("\n", reply, 2, line);
        degrees[index] = parseInteger(line);
    }
    result = closeModule(&session);
    if (result != kModemOk) return result;
    formatText(temperature, kValueSize, "%d\t%d", degrees[0], degrees[1]);
    return kModemOk;
}

std::int32_t GetHWTemperature(const char* ttyPath, char* temperature) {
    temperature[0] = '?';
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            return readFromStatus(ttyPath, temperature);
        case ModuleFamily::kHspa:
            return readThermistors(ttyPath, temperature);
        case ModuleFamily::kUnknown:
            break;
    }
    return kModemOk;
}
