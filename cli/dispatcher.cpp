#include "cli/dispatcher.h"

#include <cstdio>
#include <iterator>

#include "cli/module_options.h"
#include "cli/usage.h"
#include "cli/verify_arguments.h"
#include "discovery/module_family.h"
#include "discovery/module_table.h"
#include "platform/bounded_text.h"
#include "platform/host.h"
#include "serial/reply_lines.h"
#include "siggen/signal_generator.h"

static constexpr const char* kReleaseSuffix = "";
static constexpr const char* kNotice = "Tarnwick WWAN diagnostic and factory-test tool";

static constexpr int kFirstOperand = 2;
static constexpr int kMaxNumbers = 5;

static int showHelp() {
    Usage();
    return kExitOk;
}

static int showVersion() {
    printf("%d.%1x%s, %s\n", TARNWICK_VERSION_MAJOR, TARNWICK_VERSION_MINOR, kReleaseSuffix,
           kNotice);
    return kExitOk;
}

static int checkGenerator() {
    const std::int32_t result = VerifySignalGeneratorConnection();
    return result == 0 ? kExitOk : reportError("VerifySignalGeneratorConnection", result, result);
}

namespace {

// An option that takes no operands has `run`. Any other has `serve`, which is called for each
// module, and takes the operands `numbers` and then, optionally, a tty.
struct Option {
    const char* letter;  // as getopt reads it
    int (*run)() = nullptr;
    ModuleOption serve = nullptr;
    std::int32_t Operands::*numbers[kMaxNumbers] = {};  // null behind the last
    bool isVerified = false;  // the numbers are checked before any module is touched
};

}  // namespace

// A colon only decides what happens when nothing follows the option: getopt complains, and the
// option is skipped. The operands themselves are read from their places in argv.
static constexpr Option kOptions[] = {
    {.letter = "a", .serve = VerifySIM},
    {.letter = "b",
     .serve = Transmit,
     .numbers = {&Operands::band, &Operands::channel, &Operands::power, &Operands::enable}},
    {.letter = "c", .run = checkGenerator},
    {.letter = "e", .serve = ShowIdentifier},
    {.letter = "f", .serve = PowerOff},
    {.letter = "h", .run = showHelp},
    {.letter = "i", .serve = ShowInformation},
    {.letter = "k", .serve = ShowSKU},
    {.letter = "m", .serve = ShowSIMPresence},
    {.letter = "n", .serve = ShowFirmware},
    {.letter = "p", .serve = PowerOn},
    {.letter = "r:",
     .serve = Receive,
     .numbers = {&Operands::receiver, &Operands::band, &Operands::channel, &Operands::outputMode},
     .isVerified = true},
    {.letter = "s:",
     .serve = ReceiveFromGenerator,
     .numbers = {&Operands::receiver, &Operands::band, &Operands::channel, &Operands::power,
                 &Operands::outputMode},
     .isVerified = true},
    {.letter = "t", .serve = ShowTemperature},
    {.letter = "v", .run = showVersion},
    {.letter = "w", .serve = ShowPower},
};
static constexpr std::size_t kLettersSize = 2 * std::size(kOptions) + 1;

static const Option* findOption(int letter) {
    for (const Option& option : kOptions) {
        if (option.letter[0] == letter) return &option;
    }
    return nullptr;
}

// Makes the named tty the table's only entry, even when it matches none. What does not fit an entry
// is cut off, in the error line, too.
static int selectModule(const char* tty) {
    const int result = ObtainWWANModuleProductID(tty, &gWWANDevice[0].productId);
    copyText(gWWANDevice[0].path, sizeof gWWANDevice[0].path, tty);
    gTotalWWANDevices = 1;
    if (result != kDiscoveryOk) {
        printf("ERROR: Unable to find matching productID for %s\n", gWWANDevice[0].path);
    }
    return result;
}

static int serveModules(ModuleOption serve, const Operands& operands) {
    for (int index = 0; index < gTotalWWANDevices; ++index) {
        gCardModel = gWWANDevice[index].productId;
        if (familyOf(gCardModel) == ModuleFamily::kUnknown) {
            printf("ERROR: Unknown WWAN module found");
            return kExitUnknownModule;
        }
        const int status = serve(gWWANDevice[index].path, operands);
        if (status != kExitOk) return status;
    }
    return kExitOk;
}

static int countNumbers(const Option& option) {
    int count = 0;
    while (count < kMaxNumbers && option.numbers[count] != nullptr) ++count;
    return count;
}

static int runModuleOption(const Option& option, int argc, char** argv) {
    const int numberCount = countNumbers(option);
    const int ttyPlace = kFirstOperand + numberCount;
    if (argc != ttyPlace && argc != ttyPlace + 1) {
        puts("Incorrect Usage!\n");
        Usage();
        return kExitUsage;
    }
    if (argc > ttyPlace) {
        const int result = selectModule(argv[ttyPlace]);
        if (result != kDiscoveryOk) return result;
    }
    Operands operands;
    for (int index = 0; index < numberCount; ++index) {
        operands.*option.numbers[index] = parseInteger(argv[kFirstOperand + index]);
    }
    if (option.isVerified) {
        const std::int32_t result =
            VerifyArguments(operands.receiver, operands.band, operands.channel);
        if (result != 0) {
            printf("VerifyArguments() returns error %d\n", result);
            return result;
        }
    }
    return serveModules(option.serve, operands);
}

int RunTarnwick(int argc, char** argv) {
    if (argc <= 1) {
        Usage();
        return kExitUsage;
    }
    char letters[kLettersSize] = "";
    for (const Option& option : kOptions) appendText(letters, sizeof letters, option.letter);
    for (;;) {
        const int letter = host::NextOption(argc, argv, letters);
        if (letter == -1) return kExitOk;
        // Before the letter is looked at: help, too, is for a machine that has a module.
        const int result = IdentifyWWANModule();
        if (result != kDiscoveryOk) return result;
        const Option* option = findOption(letter);
        if (option == nullptr) continue;
        return option->run != nullptr ? option->run() : runModuleOption(*option, argc, argv);
    }
}
