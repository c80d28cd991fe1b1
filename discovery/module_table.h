#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/property_value.h"

// The modules that the machine carries.

constexpr int kMaxModules = 4;
constexpr std::size_t kTtyPathSize = 20;

struct WWANDevice {
    char path[kTtyPathSize];  // callout device of the command port, cut to fit
    std::uint32_t productId;  // USB product id
};

// Filled by IdentifyWWANModule. The dispatcher narrows it to the module that the operator named.
extern WWANDevice gWWANDevice[kMaxModules];
// Command ports found: may exceed kMaxModules, of which only the first are stored.
extern std::int32_t gTotalWWANDevices;
// Product id of the module being served; written by the dispatcher alone, 0 before the first.
extern std::uint32_t gCardModel;

// Modules of a family take the same commands.
enum class ModuleFamily { kUnknown, kEvdo, kHspa };
constexpr int kModuleFamilies = 3;
ModuleFamily familyOf(std::uint32_t productId);

enum DiscoveryResult : int {
    kDiscoveryOk = 0,
    kRegistryFailed = 3,
    kNoModule = 7,
    kTooManyModules = 9,
};

// Fills the table from the I/O registry: the n-th command port gets the n-th product id.
// Prints a line for each failure. Returns kDiscoveryOk, kRegistryFailed, kNoModule or
// kTooManyModules.
int IdentifyWWANModule();

// Writes the product id of the last entry whose path contains `ttyPath`. Returns kDiscoveryOk, or
// kNoModule with `*productId` untouched.
int ObtainWWANModuleProductID(const char* ttyPath, std::uint32_t* productId);

// Writes the value as text into `text` of `size` bytes, 1 at least, and releases it. Data is copied
// without a terminator of its own, so a cleared buffer is needed for it. "?" stands for no value,
// one that does not fit, and one of a type that has no text; the last is not released.
void TypeRefToString(property::Value value, char* text, std::size_t size);
