#include "rf/band_plan.h"

const Band* findBand(std::int32_t number) {
    return number >= 0 && number < kBandCount ? &kBands[number] : nullptr;
}

const ChannelRange* findRange(const Band& band, std::int32_t channel) {
    for (int index = 0; index < band.rangeCount; ++index) {
        const ChannelRange& range = band.ranges[index];
        if (channel >= range.first && channel <= range.last) return &range;
    }
    return nullptr;
}
