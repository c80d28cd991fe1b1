#pragma once

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

// Writing texts and reading those of the command line. What is refused is thrown as a sentence for
// the operator.
namespace station {

// Throws what `errno` says.
[[noreturn]] inline void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// At most 63 characters.
template <typename... Values>
std::string format(const char* pattern, Values... values) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, values...);
    return text;
}

inline std::string inCapitals(std::string_view text) {
    std::string capitals(text);
    for (char& byte : capitals) {
        byte = static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
    }
    return capitals;
}

[[noreturn]] inline void refuse(std::string_view what, std::string_view text) {
    throw std::invalid_argument(std::string(what) + ": '" + std::string(text) + "'");
}

template <typename Value>
Value choose(std::string_view text,
             std::initializer_list<std::pair<std::string_view, Value>> choices) {
    for (const auto& [name, value] : choices) {
        if (name == text) return value;
    }
    refuse("unknown value", text);
}

// A number, decimal or hexadecimal, from `least` to `most`.
inline double number(std::string_view text, double least, double most) {
    const std::string word(text);
    char* end = nullptr;
    const double value = std::strtod(word.c_str(), &end);
    const bool blank = word.find_first_not_of(" \t\n\v\f\r") != 0;
    if (blank || end != word.c_str() + word.size() || std::isnan(value)) {
        refuse("not a number", text);
    }
    if (value < least) refuse("the number is too small", text);
    if (value > most) refuse("the number is too large", text);
    return value;
}

template <typename Integer>
Integer wholeNumber(std::string_view text, Integer least,
                    Integer most = std::numeric_limits<Integer>::max()) {
    const double value = number(text, least, most);
    if (value != std::floor(value)) refuse("not a whole number", text);
    return static_cast<Integer>(value);
}

}  // namespace station
