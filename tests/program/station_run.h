#pragma once

#include <string>
#include <vector>

// Runs of the built tool at a built station.

struct StationRun {
    std::vector<std::string> stationOptions;     // beside those that the run adds itself
    std::vector<std::string> command;            // empty words of it: {"Tarnwick", ...} names the built tool
    double timeScale = 0.02;                     // of every pause
    double limit = 20;                           // seconds, then the command is killed
};

struct StationOutcome {
    int status = -1;                    // as a shell would give it
    std::string output;                 // standard output, whole
    std::string errors;                 // standard error, whole
    std::vector<std::string> wire;      // "NAME > TEXT": command lines as they were sent, in order
    std::string state;                  // the state files, one after the other
    double processorSeconds = 0;        // of the command and what it waited for
};
