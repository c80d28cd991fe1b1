#pragma once

#include <string>
#include <vector>

#include "station/root.h"

namespace station {

// The service plane with an entry for each port, as ioreg prints it, or what stands behind that of
// `content.capture`.
std::string servicePlane(const RootContent& content);

// A small device-tree plane.
std::string deviceTreePlane();

// The callout devices that the capture has. Throws std::invalid_argument, with what is wrong, when
// the registry would refuse the file.
std::vector<std::string> capturedCallouts(const std::string& capture);

// The first of wwanCMD19, wwanCMD29, ... that neither a port nor a captured callout device has.
std::string freePortName(const RootContent& content);

}  // namespace station
