#pragma once

#include <cstdint>

// Checks the operands of a receive test: receiver 1 or 2, the band, the channel within the band,
// and the band against the module being served (gCardModel; none for an unknown one). Prints a line
// for each check that fails. Returns 0 when none did, else 1.
std::int32_t VerifyArguments(std::int32_t receiver, std::int32_t bandNumber, std::int32_t channel);
