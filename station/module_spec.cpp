#include "station/module_spec.h"

#include <algorithm>
#include <cctype>

#include "station/text.h"

namespace station {

static constexpr int kLargestProductId = 0xffff;
static constexpr int kMost = 1000000;

static bool consistsOf(std::string_view text, int (*isMember)(int)) {
    return std::ranges::all_of(text, [&](unsigned char byte) { return isMember(byte) != 0; });
}

static std::string esn(std::string_view value) {
    if (value.size() != 8 || !consistsOf(value, std::isxdigit)) {
        refuse("not an ESN of 8 hexadecimal digits", value);
    }
    return std::string(value);
}

static std::string imei(std::string_view value) {
    if (value.size() < 14 || value.size() > 15 || !consistsOf(value, std::isdigit)) {
        refuse("not an IMEI of 14 digits, with or without a check digit", value);
    }
    std::string whole = withCheckDigit(value.substr(0, 14));
    if (value.size() == 15 && whole != value) {
        refuse(std::string("the IMEI's check digit should be ") + whole.back(), value);
    }
    return whole;
}

// What is printed into an answer: a control character would end a line of it.
static std::string printable(std::string_view value) {
    if (!consistsOf(value, [](int byte) { return static_cast<int>(std::iscntrl(byte) == 0); })) {
        refuse("a control character in the value", value);
    }
    return std::string(value);
}

static void takeTemperatures(std::string_view value, ModuleSpec* spec) {
    constexpr int kColdest = -273;
    const std::size_t slash = value.find('/');
    int* const temperatures = spec->temperatures;
    temperatures[0] = temperatures[1] = wholeNumber(value.substr(0, slash), kColdest, kMost);
    if (slash == std::string_view::npos) return;
    temperatures[1] = wholeNumber(value.substr(slash + 1), kColdest, kMost);
}

static void takePair(std::string_view name, std::string_view value, ModuleSpec* spec) {
    if (name == "id") {
        spec->id = spec->isEvdo() ? esn(value) : imei(value);
    } else if (name == "firmware") {
        spec->firmware = printable(value);
    } else if (name == "hardware") {
        spec->hardware = printable(value);
    } else if (name == "sku") {
        spec->sku = printable(value);
    } else if (name == "prl") {
        spec->prl = printable(value);
    } else if (name == "loss") {
        spec->loss = number(value, 0, kMost);
    } else if (name == "sim") {
        spec->sim = choose<SimState>(value, {{"present", SimState::kPresent},
                                             {"absent", SimState::kAbsent},
                                             {"pin", SimState::kPinPending},
                                             {"error", SimState::kError}});
    } else if (name == "busy") {
        spec->busy = wholeNumber(value, 0, kMost);
    } else if (name == "asleep") {
        spec->asleep = choose<bool>(value, {{"yes", true}, {"no", false}});
    } else if (name == "temp") {
        takeTemperatures(value, spec);
    } else if (name == "phonebook") {
        spec->phonebookStuck = choose<bool>(value, {{"stuck", true}, {"good", false}});
    } else if (name == "echo") {
        spec->echo = choose<bool>(value, {{"on", true}, {"off", false}});
    } else if (name == "chatter") {
        spec->chatter = number(value, 0, kMost);
    } else if (name == "device") {
        spec->device = value;
    } else if (name == "fault") {
        spec->fault = parseFault(value);
    } else {
        refuse("unknown module key", name);
    }
}

static std::uint32_t productIdOf(std::string_view kind) {
    if (kind == "hspa") return 0x8232;
    if (kind == "evdo") return 0x8222;
    if (kind.find_first_of("0123456789") > 1) refuse("unknown kind of module", kind);
    return static_cast<std::uint32_t>(wholeNumber(kind, 0, kLargestProductId));
}

std::string withCheckDigit(std::string_view digits) {
    int sum = 0;
    bool doubled = true;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, doubled = !doubled) {
        const int value = (*digit - '0') * (doubled ? 2 : 1);
        sum += value / 10 + value % 10;
    }
    return std::string(digits) + static_cast<char>('0' + (10 - sum % 10) % 10);
}

ModuleSpec parseModuleSpec(std::string_view text) {
    ModuleSpec spec;
    std::size_t comma = text.find(',');
    spec.productId = productIdOf(text.substr(0, comma));
    if (spec.isEvdo()) spec.firmware = "p2813300,59370";
    while (comma != std::string_view::npos) {
        text.remove_prefix(comma + 1);
        comma = text.starts_with("fault=") ? std::string_view::npos : text.find(',');
        const std::string_view pair = text.substr(0, comma);
        const std::string_view name = pair.substr(0, pair.find('='));
        const std::string_view value = pair.substr(std::min(name.size() + 1, pair.size()));
        if (value.empty()) refuse("module key without a value", name);
        takePair(name, value, &spec);
    }
    return spec;
}

}  // namespace station
