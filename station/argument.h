#pragma once

#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace station {

// What the command line gives to an option, or to a key of a module. The functions below throw
// std::invalid_argument with a sentence that has both in it and says what would be right.
struct Argument {
    std::string_view name;  // of the option or the key
    std::string_view text;
};

// `demand` is what stands behind "is not".
[[noreturn]] void refuse(const Argument& argument, std::string_view demand);

// Sets `choice` to the value of the one whose name is given.
template <typename Choice>
void choose(const Argument& argument,
            std::initializer_list<std::pair<std::string_view, Choice>> choices, Choice* choice) {
    std::string names;
    for (const auto& [name, value] : choices) {
        if (name == argument.text) {
            *choice = value;
            return;
        }
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    refuse(argument, "one of " + names);
}

// A number, decimal or hexadecimal, from `least` to `most`.
double number(const Argument& argument, double least, double most);

// The same, but whole. wholeNumber() gives it the type of its range.
double integer(const Argument& argument, double least, double most);

template <typename Integer>
Integer wholeNumber(const Argument& argument, Integer least,
                    Integer most = std::numeric_limits<Integer>::max()) {
    return static_cast<Integer>(integer(argument, least, most));
}

}  // namespace station
