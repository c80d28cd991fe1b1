#include "modem/query.h"

#include <cstdio>
#include <cstring>

#include "discovery/module_family.h"
#include "platform/bounded_text.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

static void takeValue(char* reply, const char* prefix, bool afterSeparator, char separator,
                      char* value) {
    LineWalker lines = walkLines(reply);
    const char* line = findLine(&lines, prefix);
    if (line == nullptr) return;
    const char* wanted = afterSeparator ? textAfterLast(line, separator) : line;
    copyText(value, kValueSize, wanted != nullptr ? wanted : line);
    value[strcspn(value, "\r")] = '\0';
}

std::int32_t GetWWanValue(const char* ttyPath, const char* command, const char* prefix,
                          std::uint32_t afterSeparator, signed char separator, char* value) {
    ModuleSession session;
    const int result = openModule(&session, "GetWWanValue", ttyPath);
    if (result != kModemOk) return result;
    value[0] = '\0';
    char reply[kReplySize];
    prepareCommand(&session, "%s", command);
    if (!queryReply(&session, "", reply)) return kModemOk;
    takeValue(reply, prefix, afterSeparator != 0, static_cast<char>(separator), value);
    return closeModule(&session);
}

static void takeStatus(char* reply, char* status) {
    char* echoEnd = strstr(reply, "\r\n");
    LineWalker lines = walkLines(echoEnd != nullptr ? echoEnd + 1 : reply);
    while (const char* line = nextLine(&lines)) {
        if (strstr(line, "OK") != nullptr) continue;
        appendText(status, kReplySize, line);
        appendText(status, kReplySize, "\n");
    }
}

static const char* statusCommand(ModuleFamily family) {
    switch (family) {
        case ModuleFamily::kEvdo:
            return "AT!STATUS\r";
        case ModuleFamily::kHspa:
            return "AT!GSTATUS?\r";
        case ModuleFamily::kUnknown:
            break;
    }
    return nullptr;
}

std::int32_t GetWWanStatus(const char* ttyPath, char* status) {
    ModuleSession session;
    const int result = openModule(&session, "GetWWanStatus", ttyPath);
    if (result != kModemOk) return result;
    status[0] = '\0';
    if (const char* command = statusCommand(familyOf(gCardModel))) {
        char reply[kReplySize];
        prepareCommand(&session, "%s", command);
        if (!queryReply(&session, "OK", reply)) return kModemOk;
        takeStatus(reply, status);
    }
    return closeModule(&session);
}

std::int32_t queryValue(const char* ttyPath, const char* command, const char* prefix,
                        std::uint32_t afterSeparator, signed char separator, char* value) {
    const std::int32_t result =
        GetWWanValue(ttyPath, command, prefix, afterSeparator, separator, value);
    if (result == kModemOk) return kModemOk;
    printf("ERROR: GetWWanValue() returns error %d\n", result);
    return kQueryFailed;
}
