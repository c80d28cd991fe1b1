#include "cli/verify_arguments.h"

#include <cstdio>

#include "discovery/module_family.h"
#include "rf/band_plan.h"

static bool fitsModule(const Band* band) {
    const ModuleFamily family = familyOf(gCardModel);
    return family == ModuleFamily::kUnknown || (band != nullptr && band->family == family);
}

std::int32_t VerifyArguments(std::int32_t receiver, std::int32_t bandNumber, std::int32_t channel) {
    const Band* band = findBand(bandNumber);
    std::int32_t result = 0;
    if (receiver != 1 && receiver != 2) {
        printf("VerifyArguments: Invalid input for receiver (%d)\n", receiver);
        result = 1;
    }
    if (band == nullptr) {
        printf("VerifyArguments: Invalid input for band (%d)\n", bandNumber);
        result = 1;
    } else if (findRange(*band, channel) == nullptr) {
        printf("VerifyArguments: Invalid input for channel (%d) for band %d\n", channel,
               bandNumber);
        result = 1;
    }
    if (!fitsModule(band)) {
        printf("VerifyArguments: Invalid band (%d) for installed WWAN module (%#.4x) \n",
               bandNumber, gCardModel);
        result = 1;
    }
    return result;
}
