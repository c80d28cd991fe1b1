#pragma once

#include <cstddef>
#include <cstdint>

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
