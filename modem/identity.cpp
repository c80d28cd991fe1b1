#include "modem/identity.h"

#include <cstring>

#include "discovery/module_table.h"
#include "modem/query.h"
#include "platform/bounded_text.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

static constexpr int kNoWord = -1;

namespace {

struct Query {
    std::int32_t (*operation)(const char* ttyPath, char* text);
    ModuleFamily family;
    const char* command;  // null: the family has none, and `fixed` is the answer
    const char* prefix;
    std::uint32_t afterSeparator;
    signed char separator;
    int word;  // counted from 0
    const char* fixed = nullptr;
};

}  // namespace

static constexpr Query kQueries[] = {
    {GetFWRevision, ModuleFamily::kEvdo, "AT!MDMVER?\r", "S/W VER", 1, ':', kNoWord},
    {GetFWRevision, ModuleFamily::kHspa, "AT!GVER?\r", "!GVER:", 0, ' ', 1},
    {GetHWRevision, ModuleFamily::kEvdo, nullptr, nullptr, 0, ' ', kNoWord, "NA"},
    {GetHWRevision, ModuleFamily::kHspa, "AT^HVER\r", "^HVER:", 0, ' ', 1},
    {GetSKU, ModuleFamily::kEvdo, nullptr, nullptr, 0, ' ', kNoWord},
    {GetSKU, ModuleFamily::kHspa, "AT!PRIID?\r", "PRI Part Number:", 1, ' ', 1},
};

// Leaves the first word, as the splitting does, when there are fewer than asked for.
static void selectWord(char* value, int word) {
    TokenWalker words = walkTokens(value);
    const char* selected = findToken(&words, " ", word + 1);
    if (selected != nullptr) copyText(value, kValueSize, selected);
}

static std::int32_t runQuery(const Query& query, const char* ttyPath, char* text) {
    char value[kValueSize] = {};
    const std::int32_t result = queryValue(ttyPath, query.command, query.prefix,
                                           query.afterSeparator, query.separator, value);
    if (result != kModemOk) return result;
    if (query.word != kNoWord) selectWord(value, query.word);
    copyText(text, kValueSize, value);
    return kModemOk;
}

static std::int32_t identify(std::int32_t (*operation)(const char*, char*), const char* ttyPath,
                             char* text) {
    text[0] = '?';
    const ModuleFamily family = familyOf(gCardModel);
    for (const Query& query : kQueries) {
        if (query.operation != operation || query.family != family) continue;
        if (query.command != nullptr) return runQuery(query, ttyPath, text);
        if (query.fixed == nullptr) return reportNotSupported("GetSKU()");
        copyText(text, kValueSize, query.fixed);
    }
    return kModemOk;
}

std::int32_t GetFWRevision(const char* ttyPath, char* revision) {
    return identify(GetFWRevision, ttyPath, revision);
}

std::int32_t GetHWRevision(const char* ttyPath, char* revision) {
    return identify(GetHWRevision, ttyPath, revision);
}

std::int32_t GetSKU(const char* ttyPath, char* sku) {
    return identify(GetSKU, ttyPath, sku);
}

std::int32_t GetSIMPresence(const char* ttyPath, char* simText, std::uint32_t* present) {
    simText[0] = '?';
    char value[kValueSize] = {};
    const std::int32_t result = queryValue(ttyPath, "AT^SYSINFO\r", "SYSINFO:", 1, ',', value);
    if (result != kModemOk) return result;
    copyText(simText, kValueSize, value);
    // Any zero digit counts as no SIM, the one in "10" too: stations have learned to live with it.
    *present = strstr(value, "255") == nullptr && strchr(value, '0') == nullptr ? 1 : 0;
    return kModemOk;
}
