// The lines of a settings-style file, for whoever explains a file instead of reading it.
#pragma once

#include <string_view>
#include <vector>

// A section's or a key's line.
struct ProfileLine {
    int number;  // from 1
    bool counts; // false: an earlier section, or key of the section, has the same name
    std::string_view section;
    std::string_view key; // null in the section's own line
    std::string_view value;
};

// Those lines of a file's text, in their order; the views point into the text.
std::vector<ProfileLine> profile_lines(std::string_view text);
