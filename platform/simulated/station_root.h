#pragma once

#include <cstddef>

namespace simulated {

// The folder that stands in for the Mac's root folder, or null when there is none.
const char* stationRoot();

// Puts the station root and `path`, which begins with "/", into `target` of `size` bytes. False
// when there is no root or no room.
bool stationPath(char* target, std::size_t size, const char* path);

// Opens a file for reading that must be a regular one, without ever waiting. -1 when it is none,
// with errno set and what is wrong in `problem`, a text that nobody frees. The caller closes the
// descriptor.
int openRegular(const char* path, const char** problem);

// False, after a line on standard error, when the root's path is too long for the files in it or
// host.conf is there and no regular file.
bool checkStationRoot();

// Whether the root has had a station, which leaves its folder `state`, and has none now, whose lock
// on the root would show: its nodes lead nowhere by now, or to somebody else's ptys. A root that
// was made by hand has lost none.
bool hasLostStation();

}  // namespace simulated
