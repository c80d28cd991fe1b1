#pragma once

#include <cstddef>

#include "serial/serial_port.h"

constexpr std::size_t kCommandSize = 256;
constexpr std::size_t kReplySize = 1024;  // a reply or a status report

// One operation's time with a module: openModule opens the control tty with the module profile,
// commands are sent one after the other, closeModule closes it. A call that fails prints one line
// on standard output, led by the operation's name, and has closed the tty when it returns; the
// session is over then.
struct ModuleSession {
    const char* operation;       // leads the report lines
    int fd;                      // -1 when there is no port
    char command[kCommandSize];  // stays until the next is prepared: a step that prepares none
                                 // sends the previous one again
    char message[kMessageSize];
};

// Opens `tty`. Returns kSerialOk or kOpenFailed.
int openModule(ModuleSession* session, const char* operation, const char* tty);

// Formats the session's next command.
__attribute__((format(printf, 2, 3))) void prepareCommand(ModuleSession* session,
                                                          const char* format, ...);

// Sends the session's command and waits for a reply that contains "OK" (sendCommand), for one that
// contains `expected`, into `reply` of kReplySize bytes (queryReply), or for none (postCommand).
// What has been printed so far is flushed before a wait. Returns false on failure.
//
// The failure's line says code 0, the open's, and operations return 0 after it: station scripts
// read the failure from standard output and from the value's absence, not from the exit status.
bool sendCommand(ModuleSession* session);
bool queryReply(ModuleSession* session, const char* expected, char* reply);
bool postCommand(ModuleSession* session);

// Formats the next command and sends it.
__attribute__((format(printf, 2, 3))) bool issueCommand(ModuleSession* session, const char* format,
                                                        ...);

// Closes the tty, and tries once more if that fails. Returns kSerialOk or kCloseFailed.
int closeModule(ModuleSession* session);

// Prints "OPERATION: code= N, msg= MESSAGE".
void reportCode(const char* operation, int code, const char* message);

// Prints that report for an operation that the module's family does not have, and returns its code.
constexpr int kModuleNotSupported = 9;
int reportNotSupported(const char* operation);
