#include "rf/channel_frequency.h"

#include "rf/band_plan.h"

float FrequencyLookup(std::uint32_t bandNumber, std::int32_t channel) {
    const Band* band = findBand(static_cast<std::int32_t>(bandNumber));
    const ChannelRange* range = band != nullptr ? findRange(*band, channel) : nullptr;
    if (range == nullptr) return 0.0F;
    const float frequency = range->base + range->step * static_cast<float>(channel - range->first);
    // Added last and as a product of its own: the digits that stations compare depend on it.
    return range->duplexSteps == 0
               ? frequency
               : frequency + range->step * static_cast<float>(range->duplexSteps);
}
