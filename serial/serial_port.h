#pragma once

#include <termios.h>

#include <cstddef>
#include <cstdint>

// A serial tty: open raw and exclusive, write one command line, read one reply line, close with the
// earlier settings restored. Nothing here prints. A failing call writes one line of text, cut to
// kMessageSize, into the caller's message buffer; a successful one leaves the buffer alone, but for
// readSerialPort. `message` may be null everywhere.

constexpr std::size_t kMessageSize = 256;  // every message buffer
constexpr std::size_t kFrameSize = 128;    // a command with the CR LF that ends it

enum SerialResult : int {
    kSerialOk = 0,
    kOpenFailed = 1,
    kCloseFailed = 2,
    kWriteFailed = 4,
    kReplyTooLong = 5,
    kReadFailed = 6,
    kInvalidDescriptor = 10,
};

// Settings of the port as it was found. Written by opening alone and restored by closing: it
// describes the port opened last, so one port is open at a time.
extern termios gOriginalTTYAttrs;

// How a link is set up: the control flags gain `cflagSet`, the other flags keep only the bits of
// their masks.
struct SerialProfile {
    std::uint32_t zeroSpeeds;  // nonzero: both speeds are cleared before `speed` is set
    std::uint32_t speed;       // baud
    std::uint32_t cflagSet;
    std::uint32_t iflagKeep;
    std::uint32_t oflagKeep;
    std::uint32_t lflagKeep;
    std::uint8_t vmin;   // bytes
    std::uint8_t vtime;  // tenths of a second
};
extern const SerialProfile kModuleProfile;     // the module's control tty
extern const SerialProfile kGeneratorProfile;  // the signal generator's adapter

// Opens `path` for exclusive raw use. `*fdOut` receives the descriptor, which the caller closes
// with CloseSerialPort; it is -1 when the node does not open, and the number of a descriptor that
// is closed already when a later step fails. Returns kSerialOk or kOpenFailed.
int openWithProfile(const char* path, const SerialProfile& profile, int* fdOut, char* message);

// The same with the settings of a profile one by one: the serial layer's interface for links that
// are none of the two. No operation has such a link.
int OpenSerialPort(const char* path, std::uint32_t zeroSpeeds, std::uint32_t speed,
                   std::uint32_t cflagSet, std::uint32_t iflagKeep, std::uint32_t oflagKeep,
                   std::uint32_t lflagKeep, std::uint8_t vmin, std::uint8_t vtime, int* fdOut,
                   char* message);

// Sends `command` and CR LF in one write. Returns kSerialOk, kInvalidDescriptor for -1, or
// kWriteFailed, which also stands for a command that does not fit a frame and of which nothing is
// sent.
int writeSerialPort(int fd, const char* command, char* message);

// Reads until a chunk ends in CR or LF, takes up to two such bytes off and terminates `buffer` of
// `size` bytes. Waits for a silent device as long as it is there, and leaves "Nothing to read" in
// the message when it had to, even if the reply comes. Returns kSerialOk; kReplyTooLong, or
// kReadFailed, also for a line that is gone, both with what had come in `buffer`, unterminated.
int readSerialPort(int fd, char* buffer, std::size_t size, char* message);

// Waits until all is sent, restores gOriginalTTYAttrs and closes. A descriptor of 0 or less is
// refused and stays as it is; any other is closed, whatever the result. Returns kSerialOk or
// kCloseFailed.
int CloseSerialPort(int fd, char* message);
