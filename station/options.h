#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/module.h"

namespace station {

// The command line of tarnwick-station.
struct Options {
    std::vector<ModuleSpec> modules;
    std::string root;
    std::string transcript;
    std::string capture;
    double timeScale = 1;
    unsigned userId = 0;
    bool noGenerator = false;
    Fault generatorFault;
    std::string generatorDevice;  // a real tty in the simulated generator's place; empty: none
    bool driverLoaded = false;
    bool verbose = false;
    bool help = false;
    bool version = false;
    char** command = nullptr;  // its words, the last of them null
};

// Reads the words behind the program's name, of which the last is null. Throws
// std::invalid_argument with a sentence for the operator.
Options parseOptions(char** words);

// Reads "hspa", "evdo" or a product id, then ",key=value" pairs; a fault comes last and takes the
// rest. Throws as well.
ModuleSpec parseModuleSpec(std::string_view text);

extern const char kHelp[];

}  // namespace station
