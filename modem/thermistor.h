#pragma once

#include <cstdint>

// Reads the temperature sensors in degrees Celsius into `temperature`, a cleared buffer of
// kValueSize bytes: one number for the EVDO family, whose module is woken first when it sleeps;
// two, joined by a tab, for the HSPA family. An answer without a number counts as 0, and so does a
// failed exchange of the EVDO family; after one of the HSPA family "?" stays. Returns kModemOk,
// also after a failed exchange; kQueryFailed after printing what failed; the serial port's code
// when the tty does not open or close.
std::int32_t GetHWTemperature(const char* ttyPath, char* temperature);
