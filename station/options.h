#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/line_spec.h"
#include "station/module_spec.h"

namespace station {

// The command line of tarnwick-station.
struct Options {
    std::vector<DescribedModule> modules;
    std::string root;
    std::string transcript;
    std::string capture;
    double timeScale = 1;
    unsigned userId = 0;
    bool noGenerator = false;
    LineSpec generator;
    bool driverLoaded = false;
    bool verbose = false;
    bool help = false;
    bool version = false;
    char** command = nullptr;  // its words, the last of them null
};

// Reads `count` words, of which the first is the program's name; a null follows them. Throws
// std::invalid_argument with a sentence for the operator.
Options parseOptions(int count, char** words);

extern const char kHelp[];

}  // namespace station
