#pragma once

#include <cstddef>
#include <string>

#include "platform/property_value.h"

// What the simulated registry and its tests can do with values beyond the seam.
namespace simulated {

// A string of UTF-8 with any characters in it, NUL included.
property::Value CreateText(const std::string& text);

// A value of a type that the seam has no name for, such as an array or a date.
property::Value CreateOther();

// One more reference to the value, which is returned.
property::Value Retain(property::Value value);

// Values that somebody still holds a reference to.
std::size_t LiveValues();

}  // namespace simulated
