#pragma once

#include "platform/io_registry.h"

// Looks up the services of a class. On failure prints a line led by the operation's name and
// returns kRegistryFailed; else the caller releases `*iterator`.
int findServices(const char* operation, const char* className, registry::Object* iterator);
