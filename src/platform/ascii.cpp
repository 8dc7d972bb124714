#include "platform/ascii.h"

#include <climits>
#include <cstdint>

bool equal_ignoring_case(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && (a == b || begins_ignoring_case(a, b));
}

bool begins_ignoring_case(std::string_view text, std::string_view beginning)
{
    if (text.size() < beginning.size()) {
        return false;
    }
    for (size_t i = 0; i < beginning.size(); i++) {
        if (lower_case(text[i]) != lower_case(beginning[i])) {
            return false;
        }
    }
    return true;
}

int text_to_number(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) {
        text.remove_prefix(1);
    }
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        number = number * 10 + (c - '0');
        if (number > INT_MAX) {
            return negative ? INT_MIN : INT_MAX;
        }
    }
    return static_cast<int>(negative ? -number : number);
}

size_t NameHash::operator()(std::string_view name) const
{
    uint32_t hash = 2166136261U; // FNV-1a
    for (const char c : name) {
        hash = (hash ^ (static_cast<unsigned char>(c) | 0x20U)) * 16777619U; // any case
    }
    return hash;
}
