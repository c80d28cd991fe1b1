#include "station/module_spec.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace station {

namespace {

// Which families have a use for a key.
enum Users { kAll, kEvdo, kHspa };

}  // namespace

static constexpr int kMost = 1000000;
static constexpr std::string_view kOption = "--module";

static const char* defaultFirmware(Family family) {
    switch (family) {
        case Family::kEvdo:
            return "p2813300,59370";
        case Family::kHspa:
            return "K2_0_7_19AP";
    }
    return "";
}

static const char* nameOf(Family family) {
    switch (family) {
        case Family::kEvdo:
            return "EVDO";
        case Family::kHspa:
            return "HSPA";
    }
    return "";
}

static std::string identity(const Argument& argument, Family family) {
    const auto has = [&argument](std::size_t length, std::string_view digits) {
        const std::string_view text = argument.text;
        return text.size() == length && text.find_first_not_of(digits) == text.npos;
    };
    switch (family) {
        case Family::kEvdo:
            if (has(8, "0123456789ABCDEFabcdef")) break;
            refuse(argument, "an ESN of 8 hexadecimal digits");
        case Family::kHspa:
            if (has(15, "0123456789")) break;
            refuse(argument, "an IMEI of 15 digits");
    }
    return std::string(argument.text);
}

// What is printed into an answer: a control character would end a line of it.
static std::string printable(const Argument& argument) {
    const std::string_view text = argument.text;
    if (std::any_of(text.begin(), text.end(),
                    [](unsigned char byte) { return std::iscntrl(byte) != 0; })) {
        refuse(argument, "a text without control characters");
    }
    return std::string(text);
}

// One number is for both.
static void setTemperatures(const Argument& argument, ModuleSpec* spec) {
    constexpr int kColdest = -273;
    const std::size_t slash = argument.text.find('/');
    const Argument first = {argument.name, argument.text.substr(0, slash)};
    const Argument second = {argument.name, argument.text.substr(slash + 1)};
    spec->temperatures[0] = wholeNumber(first, kColdest, kMost);
    spec->temperatures[1] = wholeNumber(second, kColdest, kMost);
}

static constexpr struct Key {
    std::string_view name;
    Users users;
    void (*take)(const Argument& argument, ModuleSpec* spec);
} kKeys[] = {
    {"id", kAll, [](auto& argument, auto* spec) { spec->id = identity(argument, spec->family()); }},
    {"firmware", kAll, [](auto& argument, auto* spec) { spec->firmware = printable(argument); }},
    {"hardware", kHspa, [](auto& argument, auto* spec) { spec->hardware = printable(argument); }},
    {"sku", kHspa, [](auto& argument, auto* spec) { spec->sku = printable(argument); }},
    {"prl", kEvdo, [](auto& argument, auto* spec) { spec->prl = printable(argument); }},
    {"loss", kAll, [](auto& argument, auto* spec) { spec->loss = number(argument, 0, kMost); }},
    {"sim", kHspa,
     [](auto& argument, auto* spec) {
         choose(argument,
                {{"present", SimState::kPresent},
                 {"absent", SimState::kAbsent},
                 {"pin", SimState::kPinPending},
                 {"error", SimState::kError}},
                &spec->sim);
     }},
    {"busy", kHspa,
     [](auto& argument, auto* spec) { spec->busy = wholeNumber(argument, 0, kMost); }},
    {"asleep", kEvdo,
     [](auto& argument, auto* spec) {
         choose(argument, {{"no", false}, {"yes", true}}, &spec->asleep);
     }},
    {"temp", kAll, setTemperatures},
    {"phonebook", kHspa,
     [](auto& argument, auto* spec) {
         choose(argument, {{"good", false}, {"stuck", true}}, &spec->phonebookStuck);
     }},
    {"echo", kAll,
     [](auto& argument, auto* spec) {
         choose(argument, {{"off", false}, {"on", true}}, &spec->echo);
     }},
};

static bool isOf(const Key& key, Family family) {
    switch (family) {
        case Family::kEvdo:
            return key.users != kHspa;
        case Family::kHspa:
            return key.users != kEvdo;
    }
    return false;
}

[[noreturn]] static void refuseKey(std::string_view name, Family family) {
    std::string demand = "a key of an " + std::string(nameOf(family)) + " module: ";
    for (const Key& key : kKeys) {
        if (isOf(key, family)) demand += std::string(key.name) + ", ";
    }
    refuse({kOption, name}, demand + lineKeys());
}

// Returns whether only a simulated module has a use for the key.
static bool takeKey(const Argument& argument, DescribedModule* described) {
    const Family family = described->module.family();
    const auto* key = std::find_if(std::begin(kKeys), std::end(kKeys), [&](const Key& known) {
        return known.name == argument.name && isOf(known, family);
    });
    if (key != std::end(kKeys)) {
        key->take(argument, &described->module);
        return true;
    }
    if (!takeLineKey(argument, &described->line)) refuseKey(argument.name, family);
    return false;
}

static std::uint32_t productIdOf(std::string_view kind) {
    if (kind == "hspa") return 0x8232;
    if (kind == "evdo") return 0x8222;
    if (kind.find_first_of("0123456789") != 0)
        refuse({kOption, kind}, "hspa, evdo or a product id");
    return wholeNumber<std::uint32_t>({kOption, kind}, 0, 0xffff);
}

DescribedModule parseModule(std::string_view text) {
    DescribedModule described;
    std::size_t comma = text.find(',');
    described.module.productId = productIdOf(text.substr(0, comma));
    described.module.firmware = defaultFirmware(described.module.family());
    std::string_view simulated;  // the last key that only a simulated module has a use for
    while (comma != std::string_view::npos) {
        text.remove_prefix(comma + 1);
        comma = text.starts_with("fault=") ? std::string_view::npos : text.find(',');
        const std::string_view pair = text.substr(0, comma);
        const std::string_view name = pair.substr(0, pair.find('='));
        const std::string_view value = pair.substr(std::min(name.size() + 1, pair.size()));
        if (value.empty()) refuse({kOption, pair}, "a key with its value, such as echo=off");
        if (takeKey({name, value}, &described)) simulated = name;
    }
    if (!simulated.empty() && !described.line.isSimulated()) {
        refuse({kOption, simulated}, "a key of a real or replayed module: " + lineKeys());
    }
    return described;
}

}  // namespace station
