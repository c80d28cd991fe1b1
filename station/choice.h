#pragma once

#include <cmath>
#include <cstdlib>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

// Reading the words of the command line. What is refused is thrown as a sentence for the operator.
namespace station {

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

inline int wholeNumber(std::string_view text, int least, int most) {
    const double value = number(text, least, most);
    if (value != std::floor(value)) refuse("not a whole number", text);
    return static_cast<int>(value);
}

}  // namespace station
