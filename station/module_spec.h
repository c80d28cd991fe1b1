#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "station/line_spec.h"

namespace station {

enum class Family { kEvdo, kHspa };
enum class SimState { kPresent, kAbsent, kPinPending, kError };

// A module as `--module` describes it.
struct ModuleSpec {
    std::uint32_t productId = 0x8232;
    std::string id;  // IMEI of 15 digits or ESN of 8 hexadecimal ones; empty: the module makes one
    std::string firmware = "K2_0_7_19AP";
    std::string hardware = "1.4";
    std::string sku = "9901042";
    std::string prl = "60683";
    double loss = 0;  // dB that a bad antenna takes from what is received
    SimState sim = SimState::kPresent;
    int busy = 0;  // times that the SIM answers "SIM busy" first
    bool asleep = false;
    int temperatures[2] = {41, 43};
    bool phonebookStuck = false;
    bool echo = true;

    // An id that is none of ours speaks as an HSPA module.
    Family family() const {
        return productId == 0x0019 || productId == 0x8222 ? Family::kEvdo : Family::kHspa;
    }
};

// A module and its line, which one description covers.
struct DescribedModule {
    ModuleSpec module;
    LineSpec line;
};

// Reads "hspa", "evdo" or a product id, then ",key=value" pairs; a fault comes last and takes the
// rest. Throws std::invalid_argument with a sentence for the operator.
DescribedModule parseModule(std::string_view description);

}  // namespace station
