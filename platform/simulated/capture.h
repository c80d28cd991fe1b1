#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/property_value.h"

// Registry captures as `ioreg -a -l` prints them: for the simulated registry, and for whoever puts
// one into a station root.
namespace simulated {

struct Model;
struct EntryRecord;

// Fills the plane from a capture, behind what is there. False with a sentence in `problem`, which
// begins with the path and says what the file is and what to do, when the file is no capture or
// there is too much of it; what it left in the model is of no use then. Does not wait, whatever the
// file is.
bool loadCapture(Model* model, std::uint32_t plane, const std::string& path, std::string* problem);

// A new value for the captured property of an entry, or null.
property::Value capturedProperty(const Model& model, const EntryRecord& entry, const char* name);

// Reads a capture by itself and puts what its entries have as "IOCalloutDevice" into `callouts`.
// False with a sentence in `problem` as above.
bool readCallouts(const std::string& path, std::vector<std::string>* callouts,
                  std::string* problem);

}  // namespace simulated
