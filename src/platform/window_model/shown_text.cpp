#include "platform/window_model/shown_text.h"

#include <algorithm>
#include <cstdint>

namespace
{

struct Character {
    uint32_t code;
    size_t length; // bytes; 0 for a byte that begins no character
};

struct Range {
    uint32_t first, last;
};

// Beside the characters below the blank.
constexpr Range NOT_SHOWN[] = {
    {0x7F, 0x9F},       // controls
    {0xAD, 0xAD},       // soft hyphen
    {0x61C, 0x61C},     // direction
    {0x180E, 0x180E},   // no width
    {0x200B, 0x200F},   // no width, direction
    {0x2028, 0x202E},   // line ends, direction
    {0x2060, 0x206F},   // no width, direction
    {0xFE00, 0xFE0F},   // variants of the character before
    {0xFEFF, 0xFEFF},   // no width
    {0xFFF9, 0xFFFB},   // annotations
    {0xE0000, 0xE0FFF}, // tags, variants
};

bool is_shown(uint32_t code)
{
    return (code >= 0x20 || code == '\t') &&
           std::none_of(std::begin(NOT_SHOWN), std::end(NOT_SHOWN), [code](Range range) {
               return code >= range.first && code <= range.last;
           });
}

// The character at `at` (RFC 3629). The text's end cuts a sequence short like any other
// byte that does not continue it.
Character character_at(const unsigned char *at)
{
    constexpr uint32_t SMALLEST[] = {0, 0, 0x80, 0x800, 0x10000};

    if (*at < 0x80) {
        return {*at, 1};
    }
    const size_t length = *at >= 0xF0 ? 4 : *at >= 0xE0 ? 3 : 2;
    if (*at < 0xC0 || *at > 0xF4) {
        return {*at, 0};
    }
    uint32_t code = *at & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; i++) {
        if ((at[i] & 0xC0) != 0x80) {
            return {*at, 0};
        }
        code = code << 6 | (at[i] & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool valid = code >= SMALLEST[length] && code <= 0x10FFFF && !surrogate;
    return {code, valid ? length : 0};
}

// How many bytes from here on are plain ASCII, which most lines are altogether.
size_t plain_length(const unsigned char *text)
{
    size_t length = 0;
    while (text[length] >= 0x20 && text[length] < 0x7F) {
        length++;
    }
    return length;
}

void append_digits(std::string *shown, const unsigned char *bytes, size_t count)
{
    constexpr char DIGITS[] = "0123456789abcdef";

    for (size_t i = 0; i < count; i++) {
        *shown += "\\x";
        *shown += DIGITS[bytes[i] >> 4];
        *shown += DIGITS[bytes[i] & 15];
    }
}

} // namespace

void append_shown_text(std::string *shown, const char *text)
{
    const auto *at = reinterpret_cast<const unsigned char *>(text);
    for (;;) {
        const size_t plain = plain_length(at);
        shown->append(reinterpret_cast<const char *>(at), plain);
        at += plain;
        if (*at == '\0') {
            break;
        }
        const Character character = character_at(at);
        if (character.length > 0 && is_shown(character.code)) {
            shown->append(reinterpret_cast<const char *>(at), character.length);
        } else {
            append_digits(shown, at, std::max<size_t>(1, character.length));
        }
        at += std::max<size_t>(1, character.length);
    }
}
