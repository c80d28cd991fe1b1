#include "station/module_spec.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "station/choice.h"

namespace station {
namespace {

int number(std::string_view text, int least = 0) {
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || value < least) {
        refuse("not a number, or too small", text);
    }
    return value;
}

void parseTemperatures(std::string_view text, ModuleSpec* spec) {
    constexpr int kColdest = -273;
    const std::size_t slash = text.find('/');
    spec->temperatures[0] = number(text.substr(0, slash), kColdest);
    spec->temperatures[1] = slash == std::string_view::npos
                                ? spec->temperatures[0]
                                : number(text.substr(slash + 1), kColdest);
}

struct Key {
    std::string_view name;
    void (*take)(std::string_view value, ModuleSpec* spec);
};

constexpr Key kKeys[] = {
    {"sim",
     [](std::string_view value, ModuleSpec* spec) {
         spec->sim = choose<SimState>(value, {{"present", SimState::kPresent},
                                              {"absent", SimState::kAbsent},
                                              {"pin", SimState::kPinPending},
                                              {"error", SimState::kError}});
     }},
    {"busy", [](std::string_view value, ModuleSpec* spec) { spec->busy = number(value); }},
    {"asleep",
     [](std::string_view value, ModuleSpec* spec) {
         spec->asleep = choose<bool>(value, {{"yes", true}, {"no", false}});
     }},
    {"temp", parseTemperatures},
    {"phonebook",
     [](std::string_view value, ModuleSpec* spec) {
         spec->phonebookStuck = choose<bool>(value, {{"stuck", true}, {"good", false}});
     }},
    {"fault", [](std::string_view value, ModuleSpec* spec) { spec->fault = parseFault(value); }},
};

// The key that `pair`, as in "key=value", begins with; null for none.
const Key* keyOf(std::string_view pair) {
    const std::string_view name = pair.substr(0, pair.find('='));
    if (name.size() == pair.size()) return nullptr;
    const auto* key = std::ranges::find(kKeys, name, &Key::name);
    return key == std::end(kKeys) ? nullptr : key;
}

// Where the next pair's comma stands: a fault's command may hold commas of its own.
std::size_t endOfPair(std::string_view pairs) {
    std::size_t comma = pairs.find(',');
    while (comma != std::string_view::npos && pairs.starts_with("fault=") &&
           keyOf(pairs.substr(comma + 1)) == nullptr) {
        comma = pairs.find(',', comma + 1);
    }
    return comma;
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
        const Key* key = keyOf(rest);
        if (key == nullptr) refuse("not a module key with a value", rest);
        const std::size_t end = endOfPair(rest);
        key->take(rest.substr(0, end).substr(key->name.size() + 1), &spec);
        rest = end == std::string_view::npos ? "" : rest.substr(end + 1);
    }
    return spec;
}

}  // namespace station
