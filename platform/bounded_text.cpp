#include "platform/bounded_text.h"

#include <cstdio>
#include <cstring>

bool copyText(char* target, std::size_t size, const char* source) {
    const std::size_t length = strlen(source);
    const std::size_t kept = length < size ? length : size - 1;
    memmove(target, source, kept);
    target[kept] = '\0';
    return kept == length;
}

bool appendText(char* target, std::size_t size, const char* source) {
    const std::size_t used = strnlen(target, size - 1);
    return copyText(target + used, size - used, source);
}

bool formatText(char* target, std::size_t size, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const bool whole = formatArguments(target, size, format, arguments);
    va_end(arguments);
    return whole;
}

bool formatArguments(char* target, std::size_t size, const char* format, va_list arguments) {
    const int length = vsnprintf(target, size, format, arguments);
    return length >= 0 && static_cast<std::size_t>(length) < size;
}
