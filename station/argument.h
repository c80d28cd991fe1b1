#pragma once

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <string_view>

namespace station {

// What the command line gives to an option, or to a key of a module. The functions below throw
// std::invalid_argument with a sentence that has both in it and says what would be right.
struct Argument {
    std::string_view name;  // of the option or the key
    std::string_view text;
};

// `demand` is what stands behind "is not".
[[noreturn]] void refuse(const Argument& argument, std::string_view demand);
[[noreturn]] void refuseChoice(const Argument& argument,
                               std::initializer_list<std::string_view> choices);

// Sets `choice` to the place of the argument among the choices.
template <typename Choice>
void choose(const Argument& argument, std::initializer_list<std::string_view> choices,
            Choice* choice) {
    const auto* known = std::find(choices.begin(), choices.end(), argument.text);
    if (known == choices.end()) refuseChoice(argument, choices);
    *choice = static_cast<Choice>(known - choices.begin());
}

// A number, decimal or hexadecimal, from `least` to `most`.
double number(const Argument& argument, double least, double most);
double integer(const Argument& argument, double least, double most);

template <typename Integer>
Integer wholeNumber(const Argument& argument, Integer least,
                    Integer most = std::numeric_limits<Integer>::max()) {
    return static_cast<Integer>(integer(argument, least, most));
}

}  // namespace station
