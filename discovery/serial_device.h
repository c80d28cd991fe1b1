#pragma once

// Serial device nodes.

enum SerialDeviceResult : int {
    kDeviceOk = 0,
    kDeviceLookupFailed = 3,
    kDeviceNotMatched = 4,
    kDeviceTimeout = 11,
};

// Waits until the node `path` can be read: ten checks a second apart, then a last one.
// Returns kDeviceOk, or kDeviceTimeout with a line in `message` of kMessageSize bytes.
int verifyDeviceConnected(const char* path, char* message);

// Shows what serial devices there are: for whoever looks into a station whose module or adapter is
// not found. No option calls it.
//
// Prints the tty name of every serial device in the I/O registry, and the callout path of each
// that contains `text`. Sets `path[0]` to NUL for each device and writes nothing else there.
// Returns kDeviceOk or kDeviceNotMatched, as the last device matched or not, or
// kDeviceLookupFailed.
int GetWWanBSDPath(const char* text, char* path);
