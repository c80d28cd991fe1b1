#include "modem/identity.h"

#include <cstring>

#include "discovery/module_family.h"
#include "modem/query.h"
#include "platform/bounded_text.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

namespace {

// How a value is asked for.
struct Query {
    const char* command = nullptr;  // none: nothing is sent, and the value is `text`
    const char* text = "?";
    const char* prefix = "";  // of the reply's line
    std::uint32_t afterSeparator = 0;
    signed char separator = ' ';
    int word = 0;  // of the value, counted from 1; 0 takes it whole
};

struct FamilyQueries {
    Query evdo;
    Query hspa;
};

}  // namespace

static constexpr Query kNoQuery;

static constexpr FamilyQueries kIdentifier = {
    .evdo = {.command = "AT+GSN\r", .prefix = "0x", .afterSeparator = 1, .separator = 'x'},
    .hspa = {.command = "AT+CGSN\r", .prefix = "0"},
};
static constexpr FamilyQueries kFirmware = {
    .evdo = {.command = "AT!MDMVER?\r", .prefix = "S/W VER", .afterSeparator = 1, .separator = ':'},
    .hspa = {.command = "AT!GVER?\r", .prefix = "!GVER:", .word = 2},
};
static constexpr FamilyQueries kHardware = {
    .evdo = {.text = "NA"},
    .hspa = {.command = "AT^HVER\r", .prefix = "^HVER:", .word = 2},
};
static constexpr Query kSKU = {
    .command = "AT!PRIID?\r", .prefix = "PRI Part Number:", .afterSeparator = 1, .word = 2};
static constexpr FamilyQueries kPRLVersion = {
    .evdo = {.command = "AT!PRLVER?\r", .prefix = "PRL VER", .afterSeparator = 1, .separator = ':'},
    .hspa = kNoQuery,
};
static constexpr FamilyQueries kSIMType = {
    .evdo = kNoQuery,
    .hspa =
        {.command = "AT^CARDMODE\r", .prefix = "^CARDMODE:", .afterSeparator = 1, .separator = ':'},
};

static const Query& queryOf(const FamilyQueries& queries) {
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            return queries.evdo;
        case ModuleFamily::kHspa:
            return queries.hspa;
        case ModuleFamily::kUnknown:
            break;
    }
    return kNoQuery;
}

// Leaves the first word, as the splitting does, when there are fewer than asked for.
static void selectWord(char* value, int word) {
    TokenWalker words = walkTokens(value);
    const char* selected = findToken(&words, " ", word);
    if (selected != nullptr) copyText(value, kValueSize, selected);
}

static std::int32_t ask(const Query& query, const char* ttyPath, char* text) {
    copyText(text, kValueSize, query.text);
    if (query.command == nullptr) return kModemOk;
    char value[kValueSize] = {};
    const std::int32_t result = queryValue(ttyPath, query.command, query.prefix,
                                           query.afterSeparator, query.separator, value);
    if (result != kModemOk) return result;
    if (query.word != 0) selectWord(value, query.word);
    copyText(text, kValueSize, value);
    return kModemOk;
}

std::int32_t GetIdentifier(const char* ttyPath, char* identifier) {
    return ask(queryOf(kIdentifier), ttyPath, identifier);
}

std::int32_t GetFWRevision(const char* ttyPath, char* revision) {
    return ask(queryOf(kFirmware), ttyPath, revision);
}

std::int32_t GetHWRevision(const char* ttyPath, char* revision) {
    return ask(queryOf(kHardware), ttyPath, revision);
}

std::int32_t GetSKU(const char* ttyPath, char* sku) {
    sku[0] = '?';
    switch (familyOf(gCardModel)) {
        case ModuleFamily::kEvdo:
            return reportNotSupported("GetSKU()");
        case ModuleFamily::kHspa:
            return ask(kSKU, ttyPath, sku);
        case ModuleFamily::kUnknown:
            break;
    }
    return kModemOk;
}

std::int32_t GetPRLVersion(const char* ttyPath, char* version) {
    return ask(queryOf(kPRLVersion), ttyPath, version);
}

std::int32_t GetSIMType(const char* ttyPath, char* type) {
    return ask(queryOf(kSIMType), ttyPath, type);
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
