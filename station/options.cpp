#include "station/options.h"

#include <getopt.h>

#include <algorithm>
#include <iterator>

#include "station/failure.h"

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
      --generator-replay FILE  a transcript in its place: FILE[:NAME]
      --driver-loaded          start with the adapter's driver loaded
      --verbose                show the wire traffic on standard error
  -h, --help                   print this help
      --version                print the version

Module keys: id=DIGITS, firmware=TEXT, loss=DB, temp=A/B, echo=off, chatter=SECONDS,
device=PATH, replay=FILE[:NAME], and last fault=KIND[@COMMAND] with KIND one of silent,
error, garbage, late, split, hangup, hangup-mid, hangup-after.
HSPA only: hardware=TEXT, sku=TEXT, sim=present|absent|pin|error, busy=N, phonebook=stuck.
EVDO only: prl=TEXT, asleep=yes.
)";

namespace {

struct Row {
    char letter;  // 0: none
    const char* name;
    int hasArgument;  // as getopt_long() has it
    void (*take)(const Argument& argument, Options* options);
};

// getopt_long()'s own form of the table.
struct Getopt {
    std::string letters;
    std::vector<option> options;  // the last is empty
};

}  // namespace

static constexpr Row kRows[] = {
    {'m', "module", required_argument,
     [](auto& argument, auto* options) { options->modules.push_back(parseModule(argument.text)); }},
    {'r', "root", required_argument,
     [](auto& argument, auto* options) { options->root = argument.text; }},
    {'t', "transcript", required_argument,
     [](auto& argument, auto* options) { options->transcript = argument.text; }},
    {0, "capture", required_argument,
     [](auto& argument, auto* options) { options->capture = argument.text; }},
    {0, "time-scale", required_argument,
     [](auto& argument, auto* options) { options->timeScale = number(argument, 0, 1e6); }},
    {0, "user-id", required_argument,
     [](auto& argument, auto* options) { options->userId = wholeNumber(argument, 0U); }},
    {0, "no-generator", no_argument, [](auto&, auto* options) { options->noGenerator = true; }},
    {0, "generator-fault", required_argument,
     [](auto& argument, auto* options) { options->generator.fault = parseFault(argument); }},
    {0, "generator-device", required_argument,
     [](auto& argument, auto* options) { setDevice(argument, &options->generator); }},
    {0, "generator-replay", required_argument,
     [](auto& argument, auto* options) { setReplay(argument, &options->generator); }},
    {0, "driver-loaded", no_argument, [](auto&, auto* options) { options->driverLoaded = true; }},
    {0, "verbose", no_argument, [](auto&, auto* options) { options->verbose = true; }},
    {'h', "help", no_argument, [](auto&, auto* options) { options->help = true; }},
    {0, "version", no_argument, [](auto&, auto* options) { options->version = true; }},
};

// What getopt_long() returns for a row: its letter, or a number that is none.
static int valueOf(const Row& row) {
    return row.letter != 0 ? row.letter : 256 + static_cast<int>(&row - kRows);
}

// "+" at the front: the first word that is no option begins the command. ":" there: a missing
// argument is told from an unknown option.
static Getopt getoptForm() {
    Getopt form{"+:", {}};
    for (const Row& row : kRows) {
        form.options.push_back({row.name, row.hasArgument, nullptr, valueOf(row)});
        if (row.letter == 0) continue;
        form.letters += row.letter;
        if (row.hasArgument == required_argument) form.letters += ':';
    }
    form.options.push_back({});
    return form;
}

static const Row* rowOf(int value) {
    const auto* row = std::find_if(std::begin(kRows), std::end(kRows),
                                   [value](const Row& known) { return valueOf(known) == value; });
    return row == std::end(kRows) ? nullptr : row;
}

// Refuses the word that getopt_long() stopped at. `optopt` tells why: it is 0 for an unknown long
// option, an unknown letter, or the value of an option that takes no argument and was given one.
[[noreturn]] static void refuseWord(int complaint, const std::string& word) {
    if (complaint == ':') refuse("the option needs an argument", word);
    if (optopt == 0) refuse("unknown option", word);
    if (rowOf(optopt) != nullptr) refuse("the option takes no argument", word);
    refuse("unknown option", std::string{'-', static_cast<char>(optopt)});
}

Options parseOptions(int count, char** words) {
    const auto& [letters, longOptions] = getoptForm();
    Options options;
    opterr = 0;  // the sentences are ours
    for (;;) {
        const int value = getopt_long(count, words, letters.c_str(), longOptions.data(), nullptr);
        if (value == -1) break;
        const Row* row = rowOf(value);
        if (row == nullptr) refuseWord(value, words[optind - 1]);
        const std::string name = std::string("--") + row->name;
        row->take({name, optarg == nullptr ? "" : optarg}, &options);
    }
    options.command = words + optind;
    if (options.modules.empty()) options.modules.emplace_back();
    return options;
}

}  // namespace station
