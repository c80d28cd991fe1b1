#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// What every fuzz target shares. A target takes one input, checks what the rooms promise for any
// input, and leaves nothing behind that the next input could notice.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Ends the program where a promise is broken, in a release build too.
inline void require(bool held, const char* promise) {
    if (held) return;
    fprintf(stderr, "broken promise: %s\n", promise);
    abort();
}

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// The parts of `text` between any of `separators`, empty ones included; never none.
inline std::vector<std::string> split(const std::string& text, const char* separators) {
    std::vector<std::string> parts(1);
    for (const char byte : text) {
        if (std::string(separators).find(byte) != std::string::npos) {
            parts.emplace_back();
        } else {
            parts.back() += byte;
        }
    }
    return parts;
}
