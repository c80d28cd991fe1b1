#pragma once

#include <cstdint>

// Kernel extensions, by the platform's own tools run through the shell. `name` is the bundle's
// without ".kext"; it counts as loaded when it occurs anywhere in the list of loaded extensions.
// Names are put into shell lines between double quotes: only fixed ones are passed.
// `message` of kMessageSize bytes may be null.

enum KextResult : int {
    kKextOk = 0,
    kNotRoot = 7,
    kLoadFailed = 8,
    kUnloadFailed = 9,
};

// Loads DIRECTORY/NAME.kext unless it is loaded, which `*wasLoaded` tells (1 or 0).
// Returns kKextOk, kNotRoot or kLoadFailed.
int loadKext(const char* directory, const char* name, std::uint32_t* wasLoaded, char* message);

// Unloads it if it is loaded. Returns kKextOk, kNotRoot or kUnloadFailed.
int unloadKext(const char* directory, const char* name, char* message);
