#include "serial/command_exchange.h"

#include <cstdint>
#include <cstring>

#include "platform/bounded_text.h"
#include "platform/host.h"
#include "serial/reply_lines.h"

static constexpr std::size_t kShortReplySize = 256;

// During the pause the whole answer, echo included, reaches the port, and one read gets it. Without
// the pause the reply would end at the first line end to arrive, the echo's.
static constexpr std::uint32_t kShortPause = 350;  // ms
static constexpr std::uint32_t kLongPause = 600;   // ms

static int exchange(int fd, const char* command, const char* expected, std::uint32_t pause,
                    char* reply, std::size_t replySize, char* message) {
    const int writeResult = writeSerialPort(fd, command, message);
    if (writeResult != kSerialOk) return writeResult;
    host::PauseMilliseconds(pause);
    reply[0] = '\0';
    const int readResult = readSerialPort(fd, reply, replySize, message);
    if (readResult != kSerialOk) return readResult;
    if (strstr(reply, expected) != nullptr) return kSerialOk;
    formatText(message, kMessageSize,
               "writeAndReadSerialPort: Comparison Failed - returned '%s', expected '%s'", reply,
               expected);
    return kReplyMismatch;
}

int writeAndReadSerialPort(int fd, const char* command, const char* expected, char* message) {
    char reply[kShortReplySize];
    return exchange(fd, command, expected, kShortPause, reply, sizeof reply, message);
}

int writeAndReadSerialPortAndReturnBuffer(int fd, const char* command, const char* expected,
                                          char* reply, std::size_t replySize, char* message) {
    return exchange(fd, command, expected, kLongPause, reply, replySize, message);
}

void ParseStringForLine(const char* delimiters, char* text, int index, char* line) {
    TokenWalker walker = walkTokens(text);
    const char* token = findToken(&walker, delimiters, index);
    if (token == nullptr) token = " ";
    memcpy(line, token, strlen(token) + 1);
}
