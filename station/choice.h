#pragma once

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

}  // namespace station
