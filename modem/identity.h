#pragma once

#include <cstdint>

// What module is fitted, and whether it holds a SIM.
//
// Every output text is a cleared buffer of kValueSize bytes; it is "?" when the query ended early.
// All return kModemOk, or kQueryFailed after printing the query's own line.

// "?" for a module of unknown family.
std::int32_t GetFWRevision(const char* ttyPath, char* revision);

// "NA" for the EVDO family, which has no such query; "?" for an unknown one.
std::int32_t GetHWRevision(const char* ttyPath, char* revision);

// The PRI part number. The EVDO family has none: prints so and returns kModuleNotSupported.
std::int32_t GetSKU(const char* ttyPath, char* sku);

// `simText` receives the SIM state field; `*present` is 0 when it contains "255" or any "0", else
// 1, also for an empty field. After kQueryFailed `*present` is untouched.
std::int32_t GetSIMPresence(const char* ttyPath, char* simText, std::uint32_t* present);
