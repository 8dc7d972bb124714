#include "base/base64.h"

#include <cstdint>

namespace
{

constexpr std::string_view ALPHABET =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// How many characters at the end are padding: two at the most.
size_t padding_of(std::string_view text)
{
    return text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
}

} // namespace

int decode_base64(std::string_view text, char *bytes)
{
    if (text.size() % 4 != 0) {
        return -1;
    }
    const size_t digits = text.size() - padding_of(text);
    uint32_t bits = 0;
    int held = 0; // of `bits`, how many have not been written
    int count = 0;
    for (const char c : text.substr(0, digits)) {
        const size_t value = ALPHABET.find(c);
        if (value == std::string_view::npos) {
            return -1;
        }
        bits = bits << 6 | static_cast<uint32_t>(value);
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes[count++] = static_cast<char>(bits >> held);
        }
    }
    return count;
}
