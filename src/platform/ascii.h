// Letters and numbers of ASCII, the same in every locale.
#pragma once

#include <cstddef>
#include <string_view>

constexpr char lower_case(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char upper_case(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Comparisons that take the letters of both cases for equal.
bool equal_ignoring_case(std::string_view a, std::string_view b);
bool begins_ignoring_case(std::string_view text, std::string_view beginning);

// Leading blanks, a sign, digits up to the first other character; 0 without digits.
// Held at the limits of 32 bits.
int text_to_number(std::string_view text);

// For tables whose keys are names in any letter case.
struct NameHash {
    size_t operator()(std::string_view name) const;
};
struct NameEqual {
    bool operator()(std::string_view a, std::string_view b) const
    {
        return equal_ignoring_case(a, b);
    }
};
