#pragma once

#include <cstdint>

// Taking a module's reply apart. A walker cuts the text up in place, remembers how far it has come,
// and hands out pointers into the text.

// Walks tokens as strtok does: runs of delimiters count as one.
struct TokenWalker {
    char* rest;
};
TokenWalker walkTokens(char* text);
// The next token, or null at the end.
char* nextToken(TokenWalker* walker, const char* delimiters);
// The `index`-th further token, counted from 1, or null.
char* findToken(TokenWalker* walker, const char* delimiters, int index);

// Walks the lines of a reply. The first, the echo, ends at any of CR and LF, the later ones at LF
// alone, so they may still carry a CR.
struct LineWalker {
    TokenWalker tokens;
    const char* delimiters;
};
LineWalker walkLines(char* reply);
char* nextLine(LineWalker* walker);
// The next line that contains `mark`, or null.
char* findLine(LineWalker* walker, const char* mark);

// The part of `line` after the last `separator`, or null when there is none.
const char* textAfterLast(const char* line, char separator);

// Leading blanks, a sign, digits up to the first other character; 0 when there are none.
std::int32_t parseInteger(const char* text);
