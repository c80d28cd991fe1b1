#include "modem/identity.h"

#include <cstring>

#include "discovery/module_table.h"
#include "modem/query.h"
#include "platform/bounded_text.h"
#include "serial/module_session.h"
#include "serial/reply_lines.h"

namespace {

struct Query {
    const char* command = nullptr;  // none: the family has no such query
    const char* prefix = "";
    std::uint32_t afterSeparator = 0;
    signed char separator = ' ';
    int word = 0;  // of the value, counted from 1; 0 takes it whole
};

using FamilyQueries = Query[kModuleFamilies];

}  // namespace

static constexpr FamilyQueries kIdentifier = {
    {}, {"AT+GSN\r", "0x", 1, 'x'}, {"AT+CGSN\r", "0", 0}};
static constexpr FamilyQueries kFirmware = {
    {}, {"AT!MDMVER?\r", "S/W VER", 1, ':'}, {"AT!GVER?\r", "!GVER:", 0, ' ', 2}};
static constexpr FamilyQueries kHardware = {{}, {}, {"AT^HVER\r", "^HVER:", 0, ' ', 2}};
static constexpr FamilyQueries kSKU = {{}, {}, {"AT!PRIID?\r", "PRI Part Number:", 1, ' ', 2}};
static constexpr FamilyQueries kPRLVersion = {{}, {"AT!PRLVER?\r", "PRL VER", 1, ':'}, {}};
static constexpr FamilyQueries kSIMType = {{}, {}, {"AT^CARDMODE\r", "^CARDMODE:", 1, ':'}};

// Leaves the first word, as the splitting does, when there are fewer than asked for.
static void selectWord(char* value, int word) {
    TokenWalker words = walkTokens(value);
    const char* selected = findToken(&words, " ", word);
    if (selected != nullptr) copyText(value, kValueSize, selected);
}

static std::int32_t ask(const FamilyQueries& queries, const char* ttyPath, char* text) {
    text[0] = '?';
    const Query& query = queries[static_cast<int>(familyOf(gCardModel))];
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
    return ask(kIdentifier, ttyPath, identifier);
}

std::int32_t GetFWRevision(const char* ttyPath, char* revision) {
    return ask(kFirmware, ttyPath, revision);
}

std::int32_t GetHWRevision(const char* ttyPath, char* revision) {
    if (familyOf(gCardModel) != ModuleFamily::kEvdo) return ask(kHardware, ttyPath, revision);
    copyText(revision, kValueSize, "NA");
    return kModemOk;
}

std::int32_t GetSKU(const char* ttyPath, char* sku) {
    const std::int32_t result = ask(kSKU, ttyPath, sku);
    return familyOf(gCardModel) == ModuleFamily::kEvdo ? reportNotSupported("GetSKU()") : result;
}

std::int32_t GetPRLVersion(const char* ttyPath, char* version) {
    return ask(kPRLVersion, ttyPath, version);
}

std::int32_t GetSIMType(const char* ttyPath, char* type) {
    return ask(kSIMType, ttyPath, type);
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
