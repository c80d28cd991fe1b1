#pragma once

#include <cstdarg>
#include <cstddef>

// Everywhere `size` is at least 1.

// Copies `source` into `target` of `size` bytes, always terminated. False when it was cut.
bool copyText(char* target, std::size_t size, const char* source);

// Appends `source` to the text in `target` of `size` bytes. False when it was cut.
bool appendText(char* target, std::size_t size, const char* source);

// Formats as snprintf into `target` of `size` bytes, always terminated. False when it was cut.
__attribute__((format(printf, 3, 4))) bool formatText(char* target, std::size_t size,
                                                      const char* format, ...);
__attribute__((format(printf, 3, 0))) bool formatArguments(char* target, std::size_t size,
                                                           const char* format, va_list arguments);
