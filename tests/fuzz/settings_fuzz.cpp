// A value written into any settings file reads back as itself, and every other line stays
// as it was.
//
// Input: section, key and value, a line each, and the file's text.
#include "fuzz_installation.h"
#include "platform/posix/profile_text.h"

#include <algorithm>
#include <cstdint>
#include <sstream>

namespace
{

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// What can stand for a section and for a key in a file at all.
bool can_be_name(const std::string &name)
{
    return !name.empty() && name.find_first_of("=[];\r\t ") == std::string::npos &&
           name.find('\0') == std::string::npos && name.find('\xEF') == std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::istringstream input(std::string(data, data + size));
    std::string section;
    std::string key;
    std::string value;
    std::getline(input, section);
    std::getline(input, key);
    std::getline(input, value);
    const std::string text(std::istreambuf_iterator<char>(input), {});
    profile_items(text);
    if (!can_be_name(section) || !can_be_name(key) ||
        value.find('\r') != std::string::npos || value.find('\0') != std::string::npos) {
        return 0;
    }

    const std::string changed = profile_with(text, section, key, value);
    promise(profile_has(changed, section, key, value), "the value is not there");
    promise(profile_with(changed, section, key, value) == changed, "written twice");
    const std::vector<ProfileItem> items = profile_items(changed);
    const auto item =
        std::find_if(items.begin(), items.end(), [&](const ProfileItem &one) {
            return profile_same_name(one.section, section) &&
                   profile_same_name(one.key, key);
        });
    promise(item != items.end() && item->value == value, "another value is read back");

    // One line is new or another; a missing section adds a blank line and its own.
    std::vector<std::string> before = lines_of(text);
    std::vector<std::string> after = lines_of(changed);
    size_t same = 0;
    while (same < before.size() && same < after.size() && before[same] == after[same]) {
        same++;
    }
    size_t behind = 0;
    while (behind < before.size() - same && behind < after.size() - same &&
           before[before.size() - 1 - behind] == after[after.size() - 1 - behind]) {
        behind++;
    }
    promise(before.size() - same - behind <= 1, "another line has changed");
    promise(after.size() - same - behind <= 4, "lines were added");
    return 0;
}
