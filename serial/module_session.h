#pragma once

#include <cstddef>

#include "serial/serial_port.h"

constexpr std::size_t kCommandSize = 256;
constexpr std::size_t kReplySize = 1024;  // a reply or a status report

// One operation's time with a module: the control tty opened with the module profile, commands
// sent one after the other, closed on every way out. Each failure prints one line on standard
// output, led by the operation's name.
struct ModuleSession {
    const char* operation;       // leads the report lines
    int fd;                      // -1 when there is no port
    char command[kCommandSize];  // stays until the next is prepared: a step that prepares none
                                 // sends the previous one again
    char message[kMessageSize];
};

// Opens `tty`. On failure prints the report line and returns kOpenFailed; nothing is left to close.
int openModule(ModuleSession* session, const char* operation, const char* tty);

// Formats the session's next command.
__attribute__((format(printf, 2, 3))) void prepareCommand(ModuleSession* session,
                                                          const char* format, ...);

// Sends the session's command and waits for "OK" (sendCommand), takes the reply into `reply` of
// kReplySize bytes when `expected` is in it (queryReply), or waits for no reply at all
// (postCommand). On failure prints the report line, closes the port and returns false.
//
// The report line says code 0, the open's, and operations return 0 after it: station scripts
// read the failure from standard output and from the value's absence, not from the exit status.
bool sendCommand(ModuleSession* session);
bool queryReply(ModuleSession* session, const char* expected, char* reply);
bool postCommand(ModuleSession* session);

// Prepares a fixed text and sends it.
bool sendText(ModuleSession* session, const char* command);

// Closes the port. On failure prints the report line, tries once more and returns kCloseFailed.
int closeModule(ModuleSession* session);

// Prints "OPERATION: code= N, msg= MESSAGE".
void reportCode(const char* operation, int code, const char* message);

// Prints that report for an operation that the module's family does not have, and returns its code.
constexpr int kModuleNotSupported = 9;
int reportNotSupported(const char* operation);
