#pragma once

#include <cstdint>

constexpr std::int32_t kNoReading = 65535;

// Puts receiver 1 or 2 of the module on a band and channel (an uplink channel for WCDMA) and
// reads the level there: in dBm, for WCDMA the module's averaged AGC figure. The module stays
// tuned. Returns kNoReading when there is none; what failed is printed, led by "GetRSSI".
// gCardModel must be of a known family: for any other the call does not return.
std::int32_t GetWWanRSSI(const char* ttyPath, std::int32_t receiver, std::uint32_t band,
                         std::int32_t channel);
