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
    double chatter = 0;  // seconds from one unsolicited line to the next; 0: there are none
    std::string device;  // a real tty in place of a simulated module; empty: none
    Fault fault;
};

// Reads "hspa", "evdo" or a product id, then ",key=value" pairs. Throws std::invalid_argument with
// a sentence for the operator.
ModuleSpec parseModuleSpec(std::string_view text);

}  // namespace station
