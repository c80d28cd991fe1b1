#include "station/module_spec.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "station/text.h"

namespace station {

static constexpr int kMost = 1000000;

static const char* defaultFirmware(Family family) {
    switch (family) {
        case Family::kEvdo:
            return "p2813300,59370";
        case Family::kHspa:
            return "K2_0_7_19AP";
    }
    return "";
}

static std::string identity(std::string_view text, Family family) {
    const auto isOf = [text](std::size_t length, std::string_view digits) {
        return text.size() == length && text.find_first_not_of(digits) == text.npos;
    };
    switch (family) {
        case Family::kEvdo:
            if (isOf(8, "0123456789ABCDEFabcdef")) break;
            refuse("not an ESN of 8 hexadecimal digits", text);
        case Family::kHspa:
            if (isOf(15, "0123456789")) break;
            refuse("not an IMEI of 15 digits", text);
    }
    return std::string(text);
}

// What is printed into an answer: a control character would end a line of it.
static std::string printable(std::string_view text) {
    if (std::any_of(text.begin(), text.end(),
                    [](unsigned char byte) { return std::iscntrl(byte) != 0; })) {
        refuse("a control character in the value", text);
    }
    return std::string(text);
}

template <typename Value>
static void set(Value* member, Value value) {
    *member = std::move(value);
}

static void setTemperatures(std::string_view value, int (&temperatures)[2]) {
    constexpr int kColdest = -273;
    const std::size_t slash = value.find('/');  // where there is none, the one number is for both
    temperatures[0] = wholeNumber(value.substr(0, slash), kColdest, kMost);
    temperatures[1] = wholeNumber(value.substr(slash + 1), kColdest, kMost);
}

static void takePair(std::string_view name, std::string_view text, ModuleSpec* spec) {
    if (name == "id") return set(&spec->id, identity(text, spec->family()));
    if (name == "firmware") return set(&spec->firmware, printable(text));
    if (name == "hardware") return set(&spec->hardware, printable(text));
    if (name == "sku") return set(&spec->sku, printable(text));
    if (name == "prl") return set(&spec->prl, printable(text));
    if (name == "loss") return set(&spec->loss, number(text, 0, kMost));
    if (name == "sim") return choose(text, {"present", "absent", "pin", "error"}, &spec->sim);
    if (name == "busy") return set(&spec->busy, wholeNumber(text, 0, kMost));
    if (name == "asleep") return choose(text, {"no", "yes"}, &spec->asleep);
    if (name == "temp") return setTemperatures(text, spec->temperatures);
    if (name == "phonebook") return choose(text, {"good", "stuck"}, &spec->phonebookStuck);
    if (name == "echo") return choose(text, {"off", "on"}, &spec->echo);
    refuse("unknown module key", name);
}

static std::uint32_t productIdOf(std::string_view kind) {
    if (kind == "hspa") return 0x8232;
    if (kind == "evdo") return 0x8222;
    if (kind.find_first_of("0123456789") > 1) refuse("unknown kind of module", kind);
    return static_cast<std::uint32_t>(wholeNumber(kind, 0, 0xffff));
}

DescribedModule parseModule(std::string_view text) {
    DescribedModule described;
    ModuleSpec& spec = described.module;
    std::size_t comma = text.find(',');
    spec.productId = productIdOf(text.substr(0, comma));
    spec.firmware = defaultFirmware(spec.family());
    while (comma != std::string_view::npos) {
        text.remove_prefix(comma + 1);
        comma = text.starts_with("fault=") ? std::string_view::npos : text.find(',');
        const std::string_view pair = text.substr(0, comma);
        const std::string_view name = pair.substr(0, pair.find('='));
        const std::string_view value = pair.substr(std::min(name.size() + 1, pair.size()));
        if (value.empty()) refuse("module key without a value", name);
        if (!takeLineKey(name, value, &described.line)) takePair(name, value, &spec);
    }
    return described;
}

}  // namespace station
