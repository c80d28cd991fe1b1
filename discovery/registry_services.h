#pragma once

#include <cstddef>

#include "platform/io_registry.h"

constexpr std::size_t kPropertyTextSize = 128;  // a property as text

// Looks up the services of a class. On failure prints a line led by the operation's name and
// returns kRegistryFailed; else the caller releases `*iterator`.
int findServices(const char* operation, const char* className, registry::Object* iterator);
