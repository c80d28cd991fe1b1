#pragma once

#include <cstdint>

// The external RF signal generator, driven with SCPI commands through a USB-to-serial adapter. Each
// call loads the adapter's driver if it must, waits for the device node, opens it, writes its
// commands, closes it, and unloads the driver if it has loaded it. A failure is printed, led by the
// operation's name, and unloads the driver even if it was loaded before the call, so that the next
// call starts from a fresh one.

enum GeneratorResult : std::int32_t {
    kGeneratorOk = 0,
    kGeneratorFailed = 5,
};

// Resets the generator and prints its identification; one that breaks off is printed as far as it
// came, and then the failure. Returns kGeneratorOk or the failing step's code.
std::int32_t VerifySignalGeneratorConnection();

// Resets the generator, tunes it to `frequency` (MHz) and `power` (whole units of its level
// setting, dBm) and switches its output on. Returns kGeneratorOk, the code of the final driver
// unload, or kGeneratorFailed.
std::int32_t EnableSignalGenerator(float frequency, std::int32_t power);

// Switches the output off. Returns as EnableSignalGenerator.
std::int32_t DisableSignalGenerator();
