#pragma once

#include <string>

#include "station/descriptor.h"

namespace station {

// A descriptor that is ready to read once a file was moved into the folder, or the folder was
// removed; -1 where the host cannot tell (all but Linux).
Descriptor watchFolder(const std::string& folder);

// Whether there was a change. The descriptor then waits for the next one.
bool takeChanges(const Descriptor& watch);

}  // namespace station
