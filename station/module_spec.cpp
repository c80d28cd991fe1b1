#include "station/module_spec.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "station/choice.h"

namespace station {
namespace {

constexpr int kLargestProductId = 0xffff;
constexpr int kMost = 1000000;

struct Key {
    std::string_view name;
    std::string ModuleSpec::*text;  // what a key that is a mere text sets
    void (*take)(std::string_view value, ModuleSpec* spec);
};

bool consistsOf(std::string_view text, int (*isMember)(int)) {
    return std::ranges::all_of(text, [&](unsigned char byte) { return isMember(byte) != 0; });
}

void takeId(std::string_view value, ModuleSpec* spec) {
    if (spec->isEvdo()) {
        if (value.size() != 8 || !consistsOf(value, std::isxdigit)) {
            refuse("not an ESN of 8 hexadecimal digits", value);
        }
        spec->id = value;
        return;
    }
    if (value.size() < 14 || value.size() > 15 || !consistsOf(value, std::isdigit)) {
        refuse("not an IMEI of 14 digits, with or without a check digit", value);
    }
    spec->id = value.substr(0, 14);
    spec->id += imeiCheckDigit(spec->id);
    if (value.size() == 15 && spec->id != value) {
        refuse(std::string("the IMEI's check digit should be ") + spec->id.back(), value);
    }
}

void takeTemperatures(std::string_view value, ModuleSpec* spec) {
    constexpr int kColdest = -273;
    const std::size_t slash = value.find('/');
    spec->temperatures[0] = wholeNumber(value.substr(0, slash), kColdest, kMost);
    spec->temperatures[1] = slash == std::string_view::npos
                                ? spec->temperatures[0]
                                : wholeNumber(value.substr(slash + 1), kColdest, kMost);
}

constexpr Key kKeys[] = {
    {"id", nullptr, takeId},
    {"firmware", &ModuleSpec::firmware, nullptr},
    {"hardware", &ModuleSpec::hardware, nullptr},
    {"sku", &ModuleSpec::sku, nullptr},
    {"prl", &ModuleSpec::prl, nullptr},
    {"device", &ModuleSpec::device, nullptr},
    {"loss", nullptr,
     [](std::string_view value, ModuleSpec* spec) { spec->loss = number(value, 0, kMost); }},
    {"sim", nullptr,
     [](std::string_view value, ModuleSpec* spec) {
         spec->sim = choose<SimState>(value, {{"present", SimState::kPresent},
                                              {"absent", SimState::kAbsent},
                                              {"pin", SimState::kPinPending},
                                              {"error", SimState::kError}});
     }},
    {"busy", nullptr,
     [](std::string_view value, ModuleSpec* spec) { spec->busy = wholeNumber(value, 0, kMost); }},
    {"asleep", nullptr,
     [](std::string_view value, ModuleSpec* spec) {
         spec->asleep = choose<bool>(value, {{"yes", true}, {"no", false}});
     }},
    {"temp", nullptr, takeTemperatures},
    {"phonebook", nullptr,
     [](std::string_view value, ModuleSpec* spec) {
         spec->phonebookStuck = choose<bool>(value, {{"stuck", true}, {"good", false}});
     }},
    {"echo", nullptr,
     [](std::string_view value, ModuleSpec* spec) {
         spec->echo = choose<bool>(value, {{"on", true}, {"off", false}});
     }},
    {"chatter", nullptr,
     [](std::string_view value, ModuleSpec* spec) { spec->chatter = number(value, 0, kMost); }},
    {"fault", nullptr,
     [](std::string_view value, ModuleSpec* spec) { spec->fault = parseFault(value); }},
};

void takePair(std::string_view pair, ModuleSpec* spec) {
    const std::string_view name = pair.substr(0, pair.find('='));
    const auto* key = std::ranges::find(kKeys, name, &Key::name);
    if (key == std::end(kKeys)) refuse("unknown module key", name);
    const std::string_view value = pair.substr(std::min(name.size() + 1, pair.size()));
    if (value.empty()) refuse("module key without a value", name);
    if (key->take != nullptr) return key->take(value, spec);
    // It would end a line of an answer.
    if (std::ranges::any_of(value, [](unsigned char byte) { return std::iscntrl(byte) != 0; })) {
        refuse("a control character in the module key", name);
    }
    spec->*key->text = value;
}

std::uint32_t productIdOf(std::string_view kind) {
    if (kind == "hspa") return 0x8232;
    if (kind == "evdo") return 0x8222;
    if (kind.find_first_of("0123456789") > 1) refuse("unknown kind of module", kind);
    return static_cast<std::uint32_t>(wholeNumber(kind, 0, kLargestProductId));
}

}  // namespace

char imeiCheckDigit(std::string_view digits) {
    int sum = 0;
    bool doubled = true;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, doubled = !doubled) {
        const int value = (*digit - '0') * (doubled ? 2 : 1);
        sum += value / 10 + value % 10;
    }
    return static_cast<char>('0' + (10 - sum % 10) % 10);
}

ModuleSpec parseModuleSpec(std::string_view text) {
    ModuleSpec spec;
    std::size_t comma = text.find(',');
    spec.productId = productIdOf(text.substr(0, comma));
    if (spec.isEvdo()) spec.firmware = "p2813300,59370";
    while (comma != std::string_view::npos) {
        text.remove_prefix(comma + 1);
        comma = text.starts_with("fault=") ? std::string_view::npos : text.find(',');
        takePair(text.substr(0, comma), &spec);
    }
    return spec;
}

}  // namespace station
