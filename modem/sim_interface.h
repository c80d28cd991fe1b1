#pragma once

#include <cstdint>

enum SIMResult : std::int32_t {
    kSIMStatusFailed = 10,
    kSIMPhonebookFailed = 11,
};

// Proves that an HSPA module can talk to its SIM: asks for the PIN state, then writes, reads back
// and clears the phonebook entry at index 1, whose earlier content is lost. Repeats a step as long
// as the SIM is busy. Prints what fails. Returns 0 (also after a failed exchange and for an unknown
// family), kSIMStatusFailed, kSIMPhonebookFailed, kModuleNotSupported for the EVDO family, or
// the serial port's code when the tty does not open or close. A test that fails in the
// read-back or in the clearing leaves its entry on the SIM.
std::int32_t VerifySIMInterface(const char* ttyPath);
