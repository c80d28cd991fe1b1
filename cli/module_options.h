#pragma once

#include <cstdint>

// What each option does for one module. The dispatcher has set gCardModel to its product id, which
// is of a known family.

// The numeric operands, with the values they have where an option does not take them.
struct Operands {
    std::int32_t receiver = 1;
    std::int32_t power = -15;  // dBm under -s, the module's own units under -b
    std::int32_t band = 0;
    std::int32_t channel = 991;
    std::int32_t outputMode = 0;  // nonzero: tab-delimited
    std::int32_t enable = 0;
};

enum ExitStatus : int {
    kExitOk = 0,
    kExitUsage = 2,
    kExitFailed = 6,
    kExitUnknownModule = 8,
};

// Serves the module at `tty`: prints its result, or a line that begins "ERROR: ". Returns kExitOk
// when the next module is to be served, else the exit status of the run.
using ModuleOption = int (*)(const char* tty, const Operands& operands);

int VerifySIM(const char* tty, const Operands& operands);             // -a
int Transmit(const char* tty, const Operands& operands);              // -b
int ShowIdentifier(const char* tty, const Operands& operands);        // -e
int PowerOff(const char* tty, const Operands& operands);              // -f
int ShowInformation(const char* tty, const Operands& operands);       // -i
int ShowSKU(const char* tty, const Operands& operands);               // -k
int ShowSIMPresence(const char* tty, const Operands& operands);       // -m
int ShowFirmware(const char* tty, const Operands& operands);          // -n
int PowerOn(const char* tty, const Operands& operands);               // -p
int Receive(const char* tty, const Operands& operands);               // -r
int ReceiveFromGenerator(const char* tty, const Operands& operands);  // -s
int ShowTemperature(const char* tty, const Operands& operands);       // -t
int ShowPower(const char* tty, const Operands& operands);             // -w

// Prints "ERROR: OPERATION() returns error CODE" and returns `status`.
int reportError(const char* operation, std::int32_t code, int status);
