#pragma once

#include <cstddef>

#include "serial/serial_port.h"

// One command, one reply. Result codes are those of the serial port, and:
constexpr int kReplyMismatch = 12;

// Sends `command`, gives the device 350 ms, reads one reply of at most 255 characters and
// looks for `expected` anywhere in it (echo included; an empty text is always there).
// Returns kSerialOk, the serial port's code, or kReplyMismatch.
int writeAndReadSerialPort(int fd, const char* command, const char* expected, char* message);

// The same with 600 ms, and the reply stays in `reply` of `replySize` bytes: terminated when it was
// read, also when it lacks `expected`; unterminated when the read failed; untouched when the write
// failed.
int writeAndReadSerialPortAndReturnBuffer(int fd, const char* command, const char* expected,
                                          char* reply, std::size_t replySize, char* message);

// Copies the `index`-th token of `text`, counted from 1, into `line`, which must be as
// large as the text and no smaller than 2 bytes. A missing token gives a single blank. Runs
// of the `delimiters` count as one; `text` is cut up on the way.
void ParseStringForLine(const char* delimiters, char* text, int index, char* line);
