#pragma once

#include <string>
#include <vector>

// Registry captures as `ioreg -a -l` prints them, for whoever puts one into a station root.
namespace simulated {

// Reads the capture as the registry would and puts what its entries have as "IOCalloutDevice" into
// `callouts`. False with a sentence in `problem`, which begins with the path and says what the file
// is and what to do, when the registry would refuse it. Does not wait, whatever the file is.
bool readCallouts(const std::string& path, std::vector<std::string>* callouts,
                  std::string* problem);

}  // namespace simulated
