// The text of a settings-style file: finding and changing its lines. No files here.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct ProfileItem {
    std::string_view section, key, value; // value without its quotes
};

// Every key of the text in the order of its lines; the views point into `text`. Of
// sections of one name the first alone counts, and so does the first of equal keys.
std::vector<ProfileItem> profile_items(std::string_view text);

// The value that profile_items() would list, found without allocating; none without such
// a key.
std::optional<std::string_view>
profile_value(std::string_view text, std::string_view section, std::string_view key);

// The text with the key set to the value, every other line as it was.
std::string profile_with(std::string_view text, std::string_view section,
                         std::string_view key, std::string_view value);

// Whether the key's line holds just this value.
bool profile_has(std::string_view text, std::string_view section, std::string_view key,
                 std::string_view value);
