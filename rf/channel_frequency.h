#pragma once

#include <cstdint>

// The carrier frequency in MHz at which a module receives on the channel, in single precision to
// the last digit; 0.0 for a band that does not exist or a channel outside of it.
float FrequencyLookup(std::uint32_t bandNumber, std::int32_t channel);
