// Fixed-size texts. Every copy knows its target's size and ends in a NUL.
#pragma once

#include "platform/ascii.h"

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

// Formats, cut to `size` - 1 bytes. Returns the bytes written, without the NUL.
[[gnu::format(printf, 3, 4)]] int format_text(char *text, size_t size, const char *format,
                                              ...);
[[gnu::format(printf, 3, 0)]] int format_arguments(char *text, size_t size,
                                                   const char *format, va_list arguments);

// Copies, cut to `size` - 1 bytes. Returns the bytes copied, without the NUL.
size_t copy_text(char *text, size_t size, const char *from);

// With ASCII letters changed only.
std::string lower_case_of(std::string_view text);

// The words of a line, parted by blanks, tabs, CR and LF. Moves `rest` past the word;
// empty when there is no further one.
std::string_view next_word(const char **rest);
