#pragma once

#include <cstddef>

namespace simulated {

// The folder that stands in for the Mac's root folder, or null when there is none.
const char* stationRoot();

// Puts the station root and `path`, which begins with "/", into `target` of `size` bytes. False
// when there is no root or no room.
bool stationPath(char* target, std::size_t size, const char* path);

}  // namespace simulated
