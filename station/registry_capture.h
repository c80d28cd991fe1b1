#pragma once

#include <string>

#include "station/root.h"

namespace station {

// The service plane with an entry for each port, beside those of `content.capture` if there is one,
// as ioreg prints it. Throws std::invalid_argument when the capture is none.
std::string servicePlane(const RootContent& content);

// A small device-tree plane.
std::string deviceTreePlane();

}  // namespace station
