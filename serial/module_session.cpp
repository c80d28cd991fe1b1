#include "serial/module_session.h"

#include <cstdarg>
#include <cstdio>

#include "platform/bounded_text.h"
#include "serial/command_exchange.h"

void reportCode(const char* operation, int code, const char* message) {
    printf("%s: code= %d, msg= %s\n", operation, code, message);
}

int reportNotSupported(const char* operation) {
    reportCode(operation, kModuleNotSupported, "Module Not Supported");
    return kModuleNotSupported;
}

int openModule(ModuleSession* session, const char* operation, const char* tty) {
    *session = {operation, -1, "", ""};
    const int result = openWithProfile(tty, kModuleProfile, &session->fd, session->message);
    if (result == kSerialOk) return kSerialOk;
    reportCode(operation, result, session->message);
    CloseSerialPort(session->fd, session->message);
    return result;
}

static bool reportExchange(ModuleSession* session, int result) {
    if (result == kSerialOk) return true;
    printf("%s: error while issue command %s --- code= %d, msg= %s\n", session->operation,
           session->command, kSerialOk, session->message);
    CloseSerialPort(session->fd, session->message);
    return false;
}

bool sendCommand(ModuleSession* session) {
    fflush(stdout);  // what is known so far is seen, even if this module never answers
    return reportExchange(
        session, writeAndReadSerialPort(session->fd, session->command, "OK", session->message));
}

bool queryReply(ModuleSession* session, const char* expected, char* reply) {
    fflush(stdout);
    return reportExchange(
        session, writeAndReadSerialPortAndReturnBuffer(session->fd, session->command, expected,
                                                       reply, kReplySize, session->message));
}

bool postCommand(ModuleSession* session) {
    return reportExchange(session,
                          writeSerialPort(session->fd, session->command, session->message));
}

void prepareCommand(ModuleSession* session, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    formatArguments(session->command, sizeof session->command, format, arguments);
    va_end(arguments);
}

bool issueCommand(ModuleSession* session, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    formatArguments(session->command, sizeof session->command, format, arguments);
    va_end(arguments);
    return sendCommand(session);
}

int closeModule(ModuleSession* session) {
    const int result = CloseSerialPort(session->fd, session->message);
    if (result == kSerialOk) return kSerialOk;
    reportCode(session->operation, result, session->message);
    CloseSerialPort(session->fd, session->message);
    return result;
}
