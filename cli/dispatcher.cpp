#include "cli/dispatcher.h"

#include <cstdio>

#include "cli/module_options.h"
#include "cli/usage.h"
#include "cli/verify_arguments.h"
#include "discovery/module_table.h"
#include "platform/bounded_text.h"
#include "platform/host.h"
#include "serial/reply_lines.h"
#include "siggen/signal_generator.h"

static constexpr int kMajorVersion = 29;
static constexpr int kMinorVersion = 0;
static constexpr const char* kReleaseSuffix = "";
static constexpr const char* kNotice = "Tarnwick WWAN diagnostic and factory-test tool";

// That "r" and "s" take an argument only decides what is said when it is missing: all operands are
// read from their places behind the option.
static constexpr const char* kOptionLetters = "vhpfweikmantr:s:bc";
static constexpr int kFirstOperand = 2;
static constexpr int kMaxNumbers = 5;

static int showHelp() {
    Usage();
    return kExitOk;
}

static int showVersion() {
    printf("%d.%1x%s", kMajorVersion, kMinorVersion, kReleaseSuffix);
    printf(", %s\n", kNotice);
    return kExitOk;
}

static int checkGenerator() {
    const std::int32_t result = VerifySignalGeneratorConnection();
    return result == 0 ? kExitOk : reportError("VerifySignalGeneratorConnection", result, result);
}

namespace {

struct Option {
    char letter;
    int (*run)();        // an option that takes no operands, or:
    ModuleOption serve;  // one that serves modules and takes these numbers and a tty
    std::int32_t Operands::*numbers[kMaxNumbers];
    int numberCount;
    bool verified;  // the numbers are checked before any module is touched
};

}  // namespace

static constexpr Option kOptions[] = {
    {'c', checkGenerator, nullptr, {}, 0, false},
    {'h', showHelp, nullptr, {}, 0, false},
    {'v', showVersion, nullptr, {}, 0, false},
    {'a', nullptr, VerifySIM, {}, 0, false},
    {'e', nullptr, ShowIdentifier, {}, 0, false},
    {'f', nullptr, PowerOff, {}, 0, false},
    {'i', nullptr, ShowInformation, {}, 0, false},
    {'k', nullptr, ShowSKU, {}, 0, false},
    {'m', nullptr, ShowSIMPresence, {}, 0, false},
    {'n', nullptr, ShowFirmware, {}, 0, false},
    {'p', nullptr, PowerOn, {}, 0, false},
    {'t', nullptr, ShowTemperature, {}, 0, false},
    {'w', nullptr, ShowPower, {}, 0, false},
    {'b',
     nullptr,
     Transmit,
     {&Operands::band, &Operands::channel, &Operands::power, &Operands::enable},
     4,
     false},
    {'r',
     nullptr,
     Receive,
     {&Operands::receiver, &Operands::band, &Operands::channel, &Operands::outputMode},
     4,
     true},
    {'s',
     nullptr,
     ReceiveFromGenerator,
     {&Operands::receiver, &Operands::band, &Operands::channel, &Operands::power,
      &Operands::outputMode},
     5,
     true},
};

static const Option* findOption(int letter) {
    for (const Option& option : kOptions) {
        if (option.letter == letter) return &option;
    }
    return nullptr;
}

// Makes the named tty the table's only entry, found or not: the path that did not match is the one
// reported.
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

static int runModuleOption(const Option& option, int argc, char** argv) {
    const int ttyPlace = kFirstOperand + option.numberCount;
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
    for (int index = 0; index < option.numberCount; ++index) {
        operands.*option.numbers[index] = parseInteger(argv[kFirstOperand + index]);
    }
    if (option.verified) {
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
    for (;;) {
        const int letter = host::NextOption(argc, argv, kOptionLetters);
        if (letter == -1) return kExitOk;
        // Before the letter is looked at: help, too, is for a machine that has a module.
        const int result = IdentifyWWANModule();
        if (result != kDiscoveryOk) return result;
        const Option* option = findOption(letter);
        if (option == nullptr) continue;
        return option->run != nullptr ? option->run() : runModuleOption(*option, argc, argv);
    }
}
