#pragma once

#include <cstdint>

// The radio's power state, which only the HSPA family can tell and switch.

// `*state` receives 1 (any level above 0) or 0, also when the module gives no answer. Returns
// kModemOk; kQueryFailed, or kModuleNotSupported for the EVDO family, each after printing a line
// and with `*state` untouched, as it is for an unknown family.
std::int32_t GetPowerState(const char* ttyPath, std::uint32_t* state);

// Switches the radio on (nonzero) or off. No answer is awaited. The tty is opened whatever the
// family; for the EVDO family a line with kModuleNotSupported is printed, but not returned.
// Returns kModemOk, or the serial port's code when the tty does not open or close.
std::int32_t SetPowerState(const char* ttyPath, std::uint32_t state);
