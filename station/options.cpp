#include "station/options.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <utility>
#include <variant>

#include "station/text.h"

namespace station {

const char kHelp[] = R"(Usage: tarnwick-station [OPTION]... [--] [COMMAND [ARGUMENT]...]
Simulates a test station and runs COMMAND with TARNWICK_STATION set to its root.
Without COMMAND it prints the line to export and serves until interrupted.

  -m, --module SPEC            add a module: hspa, evdo or a product id, then ,key=value
                               pairs; may be repeated (default: one hspa module)
  -r, --root DIR               use DIR as the station root and keep it
  -t, --transcript FILE        log each line on every wire, both ways, with a time
      --capture FILE           serve on top of a registry capture, as ioreg -a -l prints it
      --time-scale X           multiply every pause of the tool and the devices by X
      --user-id N              the user id that the tool sees (default: 0)
      --no-generator           start without the signal generator's adapter
      --generator-fault KIND   as a module's fault: KIND[@COMMAND]
      --generator-device PATH  a real tty in the simulated generator's place
      --driver-loaded          start with the adapter's driver loaded
      --verbose                show the wire traffic on standard error
      --help                   print this help
      --version                print the version

Module keys: id=DIGITS, firmware=, hardware=, sku=, prl=TEXT, loss=DB,
sim=present|absent|pin|error, busy=N, asleep=yes, temp=A/B, phonebook=stuck,
echo=off, chatter=SECONDS, device=PATH, and last fault=KIND[@COMMAND] with KIND one
of silent, error, garbage, late, split, hangup, hangup-mid, hangup-after.
)";

static constexpr int kMost = 1000000;

// An IMEI, or on EVDO an ESN.
static std::string identity(std::string_view text, bool isEvdo) {
    const std::string_view digits = isEvdo ? "0123456789ABCDEFabcdef" : "0123456789";
    if (text.size() != (isEvdo ? 8 : 15) || text.find_first_not_of(digits) != text.npos) {
        refuse(isEvdo ? "not an ESN of 8 hexadecimal digits" : "not an IMEI of 15 digits", text);
    }
    return std::string(text);
}

// What is printed into an answer: a control character would end a line of it.
static std::string printable(std::string_view text) {
    if (std::ranges::any_of(text, [](unsigned char byte) { return std::iscntrl(byte) != 0; })) {
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
    if (name == "id") return set(&spec->id, identity(text, spec->isEvdo()));
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
    if (name == "chatter") return set(&spec->chatter, number(text, 0, 3600));
    if (name == "device") return set(&spec->device, std::string(text));
    if (name == "fault") return set(&spec->fault, parseFault(text));
    refuse("unknown module key", name);
}

static std::uint32_t productIdOf(std::string_view kind) {
    if (kind == "hspa") return 0x8232;
    if (kind == "evdo") return 0x8222;
    if (kind.find_first_of("0123456789") > 1) refuse("unknown kind of module", kind);
    return static_cast<std::uint32_t>(wholeNumber(kind, 0, 0xffff));
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

static constexpr struct {
    std::string_view letter, name;
    // What it sets, or calls with its argument. A switch takes none.
    std::variant<bool Options::*, std::string Options::*, void (*)(Options&, std::string_view)>
        target;
} kOptions[] = {
    {"-m", "--module",
     [](Options& options, std::string_view text) {
         options.modules.push_back(parseModuleSpec(text));
     }},
    {"-r", "--root", &Options::root},
    {"-t", "--transcript", &Options::transcript},
    {"", "--capture", &Options::capture},
    {"", "--time-scale",
     [](Options& options, std::string_view text) { options.timeScale = number(text, 0, 1e6); }},
    {"", "--user-id",
     [](Options& options, std::string_view text) { options.userId = wholeNumber(text, 0U); }},
    {"", "--no-generator", &Options::noGenerator},
    {"", "--generator-fault",
     [](Options& options, std::string_view text) { options.generatorFault = parseFault(text); }},
    {"", "--generator-device", &Options::generatorDevice},
    {"", "--driver-loaded", &Options::driverLoaded},
    {"", "--verbose", &Options::verbose},
    {"", "--help", &Options::help},
    {"", "--version", &Options::version},
};

// Takes the option that begins with the first word, and returns the words that it takes up.
static int takeOption(const std::string& word, const char* next, Options* options) {
    const bool isLong = word.starts_with("--");
    const std::size_t end = std::min(isLong ? word.find('=') : 2, word.size());
    const std::string name = word.substr(0, end);
    const auto* option = std::ranges::find_if(
        kOptions, [&](const auto& known) { return known.name == name || known.letter == name; });
    if (option == std::end(kOptions)) refuse("unknown option", word);
    const bool isAttached = end < word.size();
    if (const auto* flag = std::get_if<bool Options::*>(&option->target)) {
        if (isAttached) refuse("the option takes no argument", word);
        options->** flag = true;
        return 1;
    }
    if (!isAttached && next == nullptr) refuse("the option needs an argument", word);
    const std::string argument = isAttached ? word.substr(isLong ? end + 1 : end) : next;
    if (const auto* text = std::get_if<std::string Options::*>(&option->target)) {
        options->** text = argument;
    } else {
        std::get<void (*)(Options&, std::string_view)>(option->target)(*options, argument);
    }
    return isAttached ? 1 : 2;
}

Options parseOptions(char** words) {
    Options options;
    while (*words != nullptr && (*words)[0] == '-' && (*words)[1] != '\0') {
        const std::string word = *words;
        words += word == "--" ? 1 : takeOption(word, words[1], &options);
        if (word == "--") break;
    }
    options.command = words;
    if (options.modules.empty()) options.modules.emplace_back();
    return options;
}

}  // namespace station
