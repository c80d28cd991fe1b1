#include "station/options.h"

#include <algorithm>
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

static constexpr struct {
    std::string_view letter, name;
    // What it sets, or calls with its argument. A switch takes none.
    std::variant<bool Options::*, std::string Options::*, void (*)(Options&, std::string_view)>
        target;
} kOptions[] = {
    {"-m", "--module",
     [](Options& options, std::string_view text) { options.modules.push_back(parseModule(text)); }},
    {"-r", "--root", &Options::root},
    {"-t", "--transcript", &Options::transcript},
    {"", "--capture", &Options::capture},
    {"", "--time-scale",
     [](Options& options, std::string_view text) { options.timeScale = number(text, 0, 1e6); }},
    {"", "--user-id",
     [](Options& options, std::string_view text) { options.userId = wholeNumber(text, 0U); }},
    {"", "--no-generator", &Options::noGenerator},
    {"", "--generator-fault",
     [](Options& options, std::string_view text) { options.generator.fault = parseFault(text); }},
    {"", "--generator-device",
     [](Options& options, std::string_view text) { options.generator.device = text; }},
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
    const auto* option =
        std::find_if(std::begin(kOptions), std::end(kOptions),
                     [&](const auto& known) { return known.name == name || known.letter == name; });
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
