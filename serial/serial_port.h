#pragma once

#include <termios.h>

#include <cstddef>
#include <cstdint>

// A serial tty: open raw and exclusive, write one command line, read one reply
// line, close with the earlier settings restored. Nothing here prints; a failing
// call writes one line of text, cut to kMessageSize, into the caller's message buffer.

constexpr std::size_t kMessageSize = 256;  // every message buffer
constexpr std::size_t kFrameSize = 128;    // a command with the CR LF that ends it
constexpr std::size_t kLongestCommand = kFrameSize - 2;

enum SerialResult : int {
    kSerialOk = 0,
    kOpenFailed = 1,
    kCloseFailed = 2,
    kCommandTooLong = 3,  // never leaves writeSerialPort
    kWriteFailed = 4,
    kReplyTooLong = 5,
    kReadFailed = 6,
    kInvalidDescriptor = 10,
};

// Settings of the port as OpenSerialPort found them. Written by OpenSerialPort
// alone; it describes the port opened last, so one port is open at a time.
extern termios gOriginalTTYAttrs;

// How a link is set up; the fields are those of OpenSerialPort.
struct SerialProfile {
    std::uint32_t speed;  // baud
    std::uint32_t cflagSet;
    std::uint32_t iflagKeep;
    std::uint32_t oflagKeep;
    std::uint32_t lflagKeep;
    std::uint8_t vmin;   // bytes
    std::uint8_t vtime;  // tenths of a second
};
extern const SerialProfile kModuleProfile;     // the module's control tty
extern const SerialProfile kGeneratorProfile;  // the signal generator's adapter

// Opens `path` for exclusive raw use: control flags gain `cflagSet`, the other
// flags keep only the bits of their masks. With `zeroSpeeds` both speeds are
// cleared before `speed` (baud) is set. `*fdOut` receives the descriptor, which the
// caller closes with CloseSerialPort; after a failure past the open it holds the
// number of a descriptor that is closed already. Returns kSerialOk or kOpenFailed.
int OpenSerialPort(const char* path, std::uint32_t zeroSpeeds, std::uint32_t speed,
                   std::uint32_t cflagSet, std::uint32_t iflagKeep, std::uint32_t oflagKeep,
                   std::uint32_t lflagKeep, std::uint8_t vmin, std::uint8_t vtime, int* fdOut,
                   char* message);

// OpenSerialPort with the settings of `profile`.
int openWithProfile(const char* path, const SerialProfile& profile, int* fdOut, char* message);

// Sends `command` and CR LF in one write. Returns kSerialOk, kWriteFailed (also for a
// command longer than kLongestCommand, of which nothing is sent) or kInvalidDescriptor (-1).
// Here alone `message` may be null.
int writeSerialPort(int fd, const char* command, char* message);

// Reads until a chunk ends in CR or LF; up to two such bytes are removed and `buffer`
// of `size` bytes is terminated. Waits for a silent device as long as it is there.
// Returns kSerialOk, kReplyTooLong (nothing terminated) or kReadFailed, the latter also
// when the line is hung up.
int readSerialPort(int fd, char* buffer, std::size_t size, char* message);

// Waits until all is sent, restores gOriginalTTYAttrs and closes. The descriptor is
// gone afterwards, whatever the result. Returns kSerialOk or kCloseFailed.
int CloseSerialPort(int fd, char* message);
