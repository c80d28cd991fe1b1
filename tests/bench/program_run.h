#pragma once

#include <string>
#include <vector>

// One run of a program, standard output and standard error discarded.
using Words = std::vector<std::string>;

struct Cost {
    double wall = 0;       // ms, from before the program is started until its end is known
    double processor = 0;  // ms, user and system, with the children that it waited for
};

// `environment` holds "NAME=VALUE" words that are added to this program's own.
Cost runProgram(const Words& program, const Words& environment);

// What a program asks the system for. A traced run is slow, so its times are not a run's.
struct Trace {
    long systemCalls = 0;
    long commands = 0;  // writes to a terminal
    double pauses = 0;  // ms, as asked for
    double shell = 0;   // ms that it waited for programs that it started
    long peak = 0;      // KiB resident at most
};
Trace traceProgram(const Words& program, const Words& environment);
