// Base64 (RFC 4648), as clients send names and passwords.
#pragma once

#include <cstddef>
#include <string_view>

// Bytes that so many characters stand for at most.
constexpr size_t base64_size(size_t characters)
{
    return characters / 4 * 3;
}

// Decodes the whole text, padding included, into base64_size() bytes at the most. The
// bytes written, or -1 when it is no Base64; `bytes` may then have been written to.
int decode_base64(std::string_view text, char *bytes);
