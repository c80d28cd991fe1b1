#pragma once

#include <string>
#include <vector>

#include "station/options.h"

namespace station {

// The service plane with an entry for each module, as ioreg prints it. Entries with the same id are
// one, and it may stand behind the plane of another station; so its entries have no ids. `ports`
// are the names of the modules' serial ports.
std::string servicePlane(const std::vector<DescribedModule>& modules,
                         const std::vector<std::string>& ports);

// A small device-tree plane.
std::string deviceTreePlane();

// The names of serial ports for the modules: the first of wwanCMD19, wwanCMD29, ... that are no
// callout devices of the options' capture. Throws std::invalid_argument, with what is wrong, when
// the registry would refuse the capture.
std::vector<std::string> portNames(const Options& options);

}  // namespace station
