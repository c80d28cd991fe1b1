#pragma once

#include <cstdint>

// What module is fitted, and what SIM it holds.
//
// Every output text is a cleared buffer of kValueSize bytes. It is empty after an exchange that
// failed, which is only printed; "?" stays when the tty cannot be opened or closed and when the
// family has no such query. Each returns kModemOk, or kQueryFailed after printing the query's own
// error line.

// The ESN of the EVDO family, the IMEI of the HSPA family.
std::int32_t GetIdentifier(const char* ttyPath, char* identifier);

std::int32_t GetFWRevision(const char* ttyPath, char* revision);

// "NA" for the EVDO family.
std::int32_t GetHWRevision(const char* ttyPath, char* revision);

// The PRI part number. The EVDO family has none: prints so and returns kModuleNotSupported.
std::int32_t GetSKU(const char* ttyPath, char* sku);

// The version of the EVDO family's roaming list.
std::int32_t GetPRLVersion(const char* ttyPath, char* version);

// The HSPA family's card mode.
std::int32_t GetSIMType(const char* ttyPath, char* type);

// `simText` receives the SIM state field, of a module of any family. `*present` is 0 when it
// contains "255" or any "0", else 1, also for an empty field; after kQueryFailed it is untouched.
std::int32_t GetSIMPresence(const char* ttyPath, char* simText, std::uint32_t* present);
