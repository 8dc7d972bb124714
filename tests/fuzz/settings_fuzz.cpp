// A value written into any settings file reads back as itself, and every other line stays
// as it was.
//
// Input: section, key and value, a line each, and the file's text.
#include "fuzz_installation.h"
#include "platform/ascii.h"
#include "platform/posix/profile_text.h"

#include <algorithm>
#include <cstdint>
#include <sstream>

// What can stand for a section and for a key in a file at all.
static bool can_be_name(const std::string &name)
{
    return !name.empty() && name.find_first_of("=[];\r\t ") == std::string::npos &&
           name.find('\0') == std::string::npos && name.find('\xEF') == std::string::npos;
}

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
    std::vector<ProfileItem> items = profile_items(changed);
    std::erase_if(items, [&](const ProfileItem &one) {
        return !equal_ignoring_case(one.section, section) ||
               !equal_ignoring_case(one.key, key);
    });
    promise(!items.empty() && items[0].value == value, "another value is read back");

    // One line is new or another; a missing section adds a blank line and its own.
    const auto [old_from, new_from] =
        std::mismatch(text.begin(), text.end(), changed.begin(), changed.end());
    const auto [old_to, new_to] =
        std::mismatch(text.rbegin(), std::make_reverse_iterator(old_from),
                      changed.rbegin(), std::make_reverse_iterator(new_from));
    promise(std::count(old_from, old_to.base(), '\n') == 0, "another line has changed");
    promise(std::count(new_from, new_to.base(), '\n') <= 4, "lines were added");
    return 0;
}
