#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "station/fault.h"

namespace station {

enum class SimState { kPresent, kAbsent, kPinPending, kError };

// A module as `--module` describes it.
struct ModuleSpec {
    std::uint32_t productId = 0x8232;
    SimState sim = SimState::kPresent;
    int busy = 0;  // times that the SIM answers "SIM busy" first
    bool asleep = false;
    int temperatures[2] = {41, 43};
    bool phonebookStuck = false;
    Fault fault;
};

// Reads "hspa", "evdo" or a product id, then ",key=value" pairs. Throws std::invalid_argument with
// a sentence for the operator.
ModuleSpec parseModuleSpec(std::string_view text);

}  // namespace station
