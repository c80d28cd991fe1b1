#pragma once

#include <string>
#include <vector>

#include "station/fault.h"
#include "station/module_spec.h"

namespace station {

// The command line of tarnwick-station.
struct Options {
    std::vector<ModuleSpec> modules;
    std::string root;
    std::string transcript;
    std::string capture;
    double timeScale = 1;
    unsigned userId = 0;
    bool generator = true;
    Fault generatorFault;
    std::string generatorDevice;  // a real tty in the simulated generator's place; empty: none
    bool driverLoaded = false;
    bool verbose = false;
    bool help = false;
    bool version = false;
    std::vector<std::string> command;
};

// Throws std::invalid_argument with a sentence for the operator.
Options parseOptions(int argc, char** argv);

std::string helpText();

}  // namespace station
