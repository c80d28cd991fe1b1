#include "discovery/module_family.h"

std::uint32_t gCardModel = 0;

ModuleFamily familyOf(std::uint32_t productId) {
    switch (productId) {
        case 0x0019:
        case 0x8222:
            return ModuleFamily::kEvdo;
        case 0x8231:
        case 0x8232:
            return ModuleFamily::kHspa;
        default:
            return ModuleFamily::kUnknown;
    }
}
