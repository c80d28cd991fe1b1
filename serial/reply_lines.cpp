#include "serial/reply_lines.h"

#include <cstdlib>
#include <cstring>

TokenWalker walkTokens(char* text) {
    return {text};
}

char* nextToken(TokenWalker* walker, const char* delimiters) {
    char* token = walker->rest + strspn(walker->rest, delimiters);
    if (*token == '\0') {
        walker->rest = token;
        return nullptr;
    }
    char* end = token + strcspn(token, delimiters);
    walker->rest = *end == '\0' ? end : end + 1;
    *end = '\0';
    return token;
}

char* findToken(TokenWalker* walker, const char* delimiters, int index) {
    int count = 0;
    for (char* token = nextToken(walker, delimiters); token != nullptr;
         token = nextToken(walker, delimiters)) {
        if (++count == index) return token;
    }
    return nullptr;
}

LineWalker walkLines(char* reply) {
    return {walkTokens(reply), "\n\r"};
}

char* nextLine(LineWalker* walker) {
    char* line = nextToken(&walker->tokens, walker->delimiters);
    walker->delimiters = "\n";
    return line;
}

char* findLine(LineWalker* walker, const char* mark) {
    char* line = nextLine(walker);
    while (line != nullptr && strstr(line, mark) == nullptr) line = nextLine(walker);
    return line;
}

const char* textAfterLast(const char* line, char separator) {
    const char* last = strrchr(line, separator);
    return last == nullptr ? nullptr : last + 1;
}

std::int32_t parseInteger(const char* text) {
    return static_cast<std::int32_t>(strtol(text, nullptr, 10));
}
