#pragma once

#include <cstdint>

// Switches an HSPA module's test transmitter on at a band, channel and power (AGC units for WCDMA,
// dB for GSM); switches that of any module off when `enable` is 0. It stays as it is
// switched. Returns 0, or the serial port's code when the tty does not open or close; a failed
// exchange and a module that cannot transmit are only printed.
std::uint32_t SetWWanTransmit(const char* ttyPath, std::int32_t band, std::int32_t channel,
                              std::uint32_t power, std::uint32_t enable);
