#include "station/options.h"

#include <algorithm>
#include <cstring>

#include "station/text.h"

namespace station {

namespace {

struct Option {
    char letter;  // 0: none
    std::string_view name;
    std::string_view argument;  // what its argument is called; empty: it takes none
    std::string_view meaning;
    void (*take)(Options& options, const std::string& argument);
};

}  // namespace

static constexpr Option kOptions[] = {
    {'m', "module", "SPEC",
     "add a module: hspa, evdo or a product id, then ,key=value\n"
     "                               pairs; may be repeated (default: one hspa module)",
     [](Options& options, const std::string& argument) {
         options.modules.push_back(parseModuleSpec(argument));
     }},
    {'r', "root", "DIR", "use DIR as the station root and keep it",
     [](Options& options, const std::string& argument) { options.root = argument; }},
    {'t', "transcript", "FILE", "log each line on every wire, both ways, with a time",
     [](Options& options, const std::string& argument) { options.transcript = argument; }},
    {0, "capture", "FILE", "serve on top of a registry capture, as ioreg -a -l prints it",
     [](Options& options, const std::string& argument) { options.capture = argument; }},
    {0, "time-scale", "X", "multiply every pause of the tool and the devices by X",
     [](Options& options, const std::string& argument) {
         options.timeScale = number(argument, 0, 1e6);
     }},
    {0, "user-id", "N", "the user id that the tool sees (default: 0)",
     [](Options& options, const std::string& argument) {
         options.userId = wholeNumber(argument, 0U);
     }},
    {0, "no-generator", "", "start without the signal generator's adapter",
     [](Options& options, const std::string&) { options.generator = false; }},
    {0, "generator-fault", "KIND", "as a module's fault: KIND[@COMMAND]",
     [](Options& options, const std::string& argument) {
         options.generatorFault = parseFault(argument);
     }},
    {0, "generator-device", "PATH", "a real tty in the simulated generator's place",
     [](Options& options, const std::string& argument) { options.generatorDevice = argument; }},
    {0, "driver-loaded", "", "start with the adapter's driver loaded",
     [](Options& options, const std::string&) { options.driverLoaded = true; }},
    {0, "verbose", "", "show the wire traffic on standard error",
     [](Options& options, const std::string&) { options.verbose = true; }},
    {0, "help", "", "print this help",
     [](Options& options, const std::string&) { options.help = true; }},
    {0, "version", "", "print the version",
     [](Options& options, const std::string&) { options.version = true; }},
};

// The option of that long name, or of that letter when the name is empty.
static const Option* find(std::string_view name, char letter) {
    for (const Option& option : kOptions) {
        if (name.empty() ? option.letter == letter : option.name == name) return &option;
    }
    return nullptr;
}

// Takes the option at `*index` with its argument, which may be part of the word or the next one.
static void takeOption(int argc, char** argv, int* index, Options* options) {
    const std::string_view word = argv[*index];
    const bool isLong = word.starts_with("--");
    const std::size_t equals = isLong ? word.find('=') : std::string_view::npos;
    const std::string_view name = isLong ? word.substr(2, equals - 2) : std::string_view();
    const Option* known = find(name, word[1]);
    if (known == nullptr) refuse("unknown option", argv[*index]);
    const Option& option = *known;
    const bool attached = isLong ? equals != std::string_view::npos : word.size() > 2;
    if (option.argument.empty()) {
        if (attached) refuse("the option takes no argument", word);
        return option.take(*options, "");
    }
    if (attached) return option.take(*options, std::string(word.substr(isLong ? equals + 1 : 2)));
    if (++*index >= argc) refuse("the option needs an argument", word);
    option.take(*options, argv[*index]);
}

Options parseOptions(int argc, char** argv) {
    Options options;
    int index = 1;
    for (; index < argc && argv[index][0] == '-' && argv[index][1] != '\0'; ++index) {
        if (strcmp(argv[index], "--") == 0) {
            ++index;
            break;
        }
        takeOption(argc, argv, &index, &options);
    }
    options.command.assign(argv + index, argv + argc);
    if (options.modules.empty()) options.modules.emplace_back();
    return options;
}

std::string helpText() {
    std::string text =
        "Usage: tarnwick-station [OPTION]... [--] [COMMAND [ARGUMENT]...]\n"
        "Simulates a test station and runs COMMAND with TARNWICK_STATION set to its root.\n"
        "Without COMMAND it prints the line to export and serves until interrupted.\n\n";
    for (const Option& option : kOptions) {
        std::string usage =
            option.letter != 0 ? std::string("  -") + option.letter + ", " : "      ";
        usage += "--" + std::string(option.name);
        if (!option.argument.empty()) usage += " " + std::string(option.argument);
        usage.resize(std::max<std::size_t>(usage.size() + 1, 31), ' ');
        text += usage + std::string(option.meaning) + "\n";
    }
    return text +
           "\nModule keys: id=DIGITS, firmware=, hardware=, sku=, prl=TEXT, loss=DB,\n"
           "sim=present|absent|pin|error, busy=N, asleep=yes, temp=A/B, phonebook=stuck,\n"
           "echo=off, chatter=SECONDS, device=PATH, and last fault=KIND[@COMMAND] with KIND one\n"
           "of silent, error, garbage, late, split, hangup, hangup-mid, hangup-after.\n";
}

}  // namespace station
