#pragma once

#include <cstddef>
#include <cstdint>

// Asking the module for one value or for its status report. A call is one complete
// open, exchange and close of the control tty.

constexpr std::size_t kValueSize = 256;

enum ModemResult : std::int32_t {
    kModemOk = 0,  // the serial port's 0, too, whose codes the operations pass on
    kQueryFailed = 6,
};

// Sends `command`, complete with its "\r", and cuts the value out of the first reply line that
// contains `prefix`: the part after the last `separator` when `afterSeparator` is set (the whole
// line if it has none), else the whole line; up to its first CR either way. `value` of kValueSize
// bytes is empty when no line matches and when the exchange fails, which is only printed; it is
// untouched when the tty does not open. Returns kModemOk, or the serial port's code when the tty
// does not open or close.
std::int32_t GetWWanValue(const char* ttyPath, const char* command, const char* prefix,
                          std::uint32_t afterSeparator, signed char separator, char* value);

// Asks for the status report of gCardModel's family: the reply's lines without the echo and
// without those that contain "OK", each followed by "\n". `status` of kReplySize bytes is empty
// when the exchange fails, which is only printed, and when the family is unknown, for which nothing
// is sent; it is untouched when the tty does not open. Returns as GetWWanValue.
std::int32_t GetWWanStatus(const char* ttyPath, char* status);

// GetWWanValue for the operations that build on it: when it fails, prints "ERROR: GetWWanValue()
// returns error N" and returns kQueryFailed.
std::int32_t queryValue(const char* ttyPath, const char* command, const char* prefix,
                        std::uint32_t afterSeparator, signed char separator, char* value);
