#include "station/module_spec.h"

#include <charconv>

#include "station/choice.h"

namespace station {
namespace {

int number(std::string_view text) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size()) refuse("not a number", text);
    return value;
}

void parseTemperatures(std::string_view text, ModuleSpec* spec) {
    const std::size_t slash = text.find('/');
    spec->temperatures[0] = number(text.substr(0, slash));
    spec->temperatures[1] =
        slash == std::string_view::npos ? spec->temperatures[0] : number(text.substr(slash + 1));
}

void parsePair(std::string_view key, std::string_view value, ModuleSpec* spec) {
    if (key == "sim") {
        spec->sim = choose<SimState>(value, {{"present", SimState::kPresent},
                                             {"absent", SimState::kAbsent},
                                             {"pin", SimState::kPinPending},
                                             {"error", SimState::kError}});
    } else if (key == "busy") {
        spec->busy = number(value);
    } else if (key == "asleep") {
        spec->asleep = choose<bool>(value, {{"yes", true}, {"no", false}});
    } else if (key == "temp") {
        parseTemperatures(value, spec);
    } else if (key == "phonebook") {
        spec->phonebookStuck = choose<bool>(value, {{"stuck", true}, {"good", false}});
    } else if (key == "fault") {
        spec->fault = parseFault(value);
    } else {
        refuse("unknown module key", key);
    }
}

}  // namespace

ModuleSpec parseModuleSpec(std::string_view text) {
    ModuleSpec spec;
    const std::size_t comma = text.find(',');
    const std::string_view kind = text.substr(0, comma);
    if (kind == "hspa") {
        spec.productId = 0x8232;
    } else if (kind == "evdo") {
        spec.productId = 0x8222;
    } else {
        spec.productId = static_cast<std::uint32_t>(number(kind));
    }
    std::string_view rest = comma == std::string_view::npos ? "" : text.substr(comma + 1);
    while (!rest.empty()) {
        const std::size_t equals = rest.find('=');
        if (equals == std::string_view::npos) refuse("no value for module key", rest);
        const std::size_t end = rest.find(',', equals);
        parsePair(rest.substr(0, equals), rest.substr(equals + 1, end - equals - 1), &spec);
        rest = end == std::string_view::npos ? "" : rest.substr(end + 1);
    }
    return spec;
}

}  // namespace station
