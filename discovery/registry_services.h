#pragma once

#include <cstddef>

#include "platform/io_registry.h"
#include "platform/property_value.h"

constexpr std::size_t kPropertyTextSize = 128;  // a property as text

// Looks up the services of a class. Returns false after printing a line that is led by the
// operation's name; else the caller releases `*iterator`.
bool findServices(const char* operation, const char* className, registry::Object* iterator);

// Writes the value as text into `text` of `size` bytes, 1 at least, and releases it. Data is copied
// without a terminator of its own, so a cleared buffer is needed for it. "?" stands for no value,
// one that does not fit, and one of a type that has no text; the last is not released.
void TypeRefToString(property::Value value, char* text, std::size_t size);
