#pragma once

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <string_view>

namespace station {

// As snprintf does; never cut.
template <typename... Arguments>
std::string format(const char* pattern, Arguments... arguments) {
    const int length = std::snprintf(nullptr, 0, pattern, arguments...);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    std::snprintf(text.data(), text.size() + 1, pattern, arguments...);
    return text;
}

inline std::string inCapitals(std::string_view text) {
    std::string capitals(text);
    for (char& byte : capitals) {
        byte = static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
    }
    return capitals;
}

// Whether they are equal but for capitals.
inline bool isSameWord(std::string_view one, std::string_view other) {
    const auto isSame = [](unsigned char left, unsigned char right) {
        return std::toupper(left) == std::toupper(right);
    };
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), isSame);
}

}  // namespace station
