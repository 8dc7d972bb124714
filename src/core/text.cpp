#include "core/text.h"

#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace
{

constexpr size_t TRIM_LIMIT = 511;

bool is_word_end(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

} // namespace

int format_text(char *text, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(text, size, format, arguments);
    va_end(arguments);
    if (length < 0) {
        text[0] = '\0';
        return 0;
    }
    return length < static_cast<int>(size) ? length : static_cast<int>(size) - 1;
}

size_t copy_text(char *text, size_t size, const char *from)
{
    const size_t length = strnlen(from, size - 1);
    memmove(text, from, length);
    text[length] = '\0';
    return length;
}

char upper_case(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

char lower_case(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equal_ignoring_case(const char *a, const char *b)
{
    while (*a != '\0' && lower_case(*a) == lower_case(*b)) {
        a++;
        b++;
    }
    return lower_case(*a) == lower_case(*b);
}

bool begins_ignoring_case(const char *text, const char *beginning)
{
    while (*beginning != '\0' && lower_case(*text) == lower_case(*beginning)) {
        text++;
        beginning++;
    }
    return *beginning == '\0';
}

int text_to_number(const char *text)
{
    while (*text == ' ' || *text == '\t') {
        text++;
    }
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+') {
        text++;
    }
    int64_t number = 0;
    for (; *text >= '0' && *text <= '9'; text++) {
        number = number * 10 + (*text - '0');
        if (number > INT_MAX) {
            return negative ? INT_MIN : INT_MAX;
        }
    }
    return static_cast<int>(negative ? -number : number);
}

void trim_spaces(char *text)
{
    size_t length = strnlen(text, TRIM_LIMIT);
    const char *first = text;
    while (length > 0 && *first == ' ') {
        first++;
        length--;
    }
    while (length > 0 && first[length - 1] == ' ') {
        length--;
    }
    memmove(text, first, length);
    text[length] = '\0';
}

char *next_word(char **rest)
{
    char *word = *rest;
    while (is_word_end(*word)) {
        word++;
    }
    if (*word == '\0') {
        *rest = word;
        return nullptr;
    }
    char *end = word;
    while (*end != '\0' && !is_word_end(*end)) {
        end++;
    }
    *rest = end;
    if (*end != '\0') {
        *end = '\0';
        *rest = end + 1;
    }
    return word;
}
