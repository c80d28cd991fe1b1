#pragma once

#include <cstdint>

#include "discovery/module_family.h"

// The bands that the RF side knows, by the numbers that operators type.

enum BandNumber : std::int32_t {
    kCellular = 0,
    kPcs = 1,
    kGsm850 = 2,
    kGsm900 = 3,
    kGsm1800 = 4,
    kGsm1900 = 5,
    kWcdma850 = 6,
    kWcdma1900 = 7,
    kWcdma2100 = 8,
};
constexpr int kBandCount = 9;

enum class RadioStandard { kCdma, kGsm, kWcdma };

// Channels `first` to `last`, the first of them at `base` MHz, `step` MHz apart. WCDMA channels are
// uplink channels; `duplexSteps` steps of `step` lead to the downlink.
struct ChannelRange {
    std::int32_t first;
    std::int32_t last;
    float base;
    float step;
    std::int32_t duplexSteps;
};

constexpr std::int32_t kNoBandCode = -1;

struct Band {
    RadioStandard standard;
    ModuleFamily family;    // the modules that have it
    std::int32_t bandCode;  // the module's own number for it in the diagnostic command set
    ChannelRange ranges[2];
    int rangeCount;
};

// PCS starts a channel step below 1930 MHz: stations tune their generators so, and their limits
// rest on it.
constexpr Band kBands[kBandCount] = {
    {RadioStandard::kCdma,
     ModuleFamily::kEvdo,
     kNoBandCode,
     {{0, 799, 870.0F, 0.03F, 0}, {991, 1023, 869.04F, 0.03F, 0}},
     2},
    {RadioStandard::kCdma, ModuleFamily::kEvdo, kNoBandCode, {{0, 1200, 1929.95F, 0.05F, 0}}, 1},
    {RadioStandard::kGsm, ModuleFamily::kHspa, 18, {{128, 251, 869.2F, 0.2F, 0}}, 1},
    {RadioStandard::kGsm,
     ModuleFamily::kHspa,
     10,
     {{1, 124, 935.2F, 0.2F, 0}, {975, 1023, 925.2F, 0.2F, 0}},
     2},
    {RadioStandard::kGsm, ModuleFamily::kHspa, 11, {{512, 885, 1805.2F, 0.2F, 0}}, 1},
    {RadioStandard::kGsm, ModuleFamily::kHspa, 12, {{512, 810, 1930.2F, 0.2F, 0}}, 1},
    {RadioStandard::kWcdma, ModuleFamily::kHspa, 22, {{4132, 4233, 826.4F, 0.2F, 225}}, 1},
    {RadioStandard::kWcdma, ModuleFamily::kHspa, 16, {{9262, 9538, 1852.4F, 0.2F, 400}}, 1},
    {RadioStandard::kWcdma, ModuleFamily::kHspa, 9, {{9612, 9888, 1922.4F, 0.2F, 950}}, 1},
};

// The band of that number, or null.
const Band* findBand(std::int32_t number);

// The range of the band that holds the channel, or null.
const ChannelRange* findRange(const Band& band, std::int32_t channel);
