#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

// How the station fails: with std::system_error when the host refuses something, and with
// std::invalid_argument, a sentence for the operator, when he has asked for what cannot be.
namespace station {

// Throws what `errno` says.
[[noreturn]] inline void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

[[noreturn]] inline void refuse(std::string_view what, std::string_view text) {
    throw std::invalid_argument(std::string(what) + ": '" + std::string(text) + "'");
}

}  // namespace station
