#pragma once

#include <algorithm>
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

// Writing texts and reading those of the command line. What is refused is thrown as a sentence for
// the operator.
namespace station {

// Throws what `errno` says.
[[noreturn]] inline void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

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

[[noreturn]] inline void refuse(std::string_view what, std::string_view text) {
    throw std::invalid_argument(std::string(what) + ": '" + std::string(text) + "'");
}

// Sets `choice` to the place of the text among the choices.
template <typename Choice>
void choose(std::string_view text, std::initializer_list<std::string_view> choices,
            Choice* choice) {
    const auto* known = std::find(choices.begin(), choices.end(), text);
    if (known == choices.end()) refuse("unknown value", text);
    *choice = static_cast<Choice>(known - choices.begin());
}

// A number, decimal or hexadecimal, from `least` to `most`.
inline double number(std::string_view text, double least, double most) {
    const std::string word(text);
    char* end = nullptr;
    const double value = std::strtod(word.c_str(), &end);
    const bool blank = word.empty() || std::isspace(static_cast<unsigned char>(word[0])) != 0;
    if (blank || *end != '\0' || std::isnan(value)) refuse("not a number", text);
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
