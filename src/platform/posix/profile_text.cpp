#include "platform/posix/profile_text.h"

#include "platform/ascii.h"
#include "platform/profile_lines.h"

#include <unordered_set>

namespace
{

constexpr std::string_view BLANKS = " \t";
constexpr std::string_view LINE_ENDS = "\r\n";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

std::string_view trimmed(std::string_view text)
{
    const size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        return text.substr(0, 0); // empty, but never null
    }
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

bool is_quoted(std::string_view value)
{
    return value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
           value.back() == value.front();
}

std::string_view unquoted(std::string_view value)
{
    return is_quoted(value) ? value.substr(1, value.size() - 2) : value;
}

enum LineKind { OTHER_LINE, SECTION_LINE, KEY_LINE };

struct Line {
    LineKind kind;
    size_t begin, end;     // of the line in the text, its line ending left out
    size_t next;           // where the following line begins
    std::string_view name; // of the section or key
    size_t value;          // where the text after the equals sign begins
};

Line line_at(std::string_view text, size_t begin)
{
    Line line{OTHER_LINE, begin, text.size(), text.size(), {}, text.size()};
    const size_t end = text.find_first_of(LINE_ENDS, begin);
    if (end != std::string_view::npos) {
        line.end = end;
        line.next = end + (text.substr(end).starts_with("\r\n") ? 2 : 1);
    }

    std::string_view content = text.substr(begin, line.end - begin);
    if (begin == 0 && content.starts_with(BYTE_ORDER_MARK)) {
        content.remove_prefix(BYTE_ORDER_MARK.size());
    }
    content = trimmed(content);
    if (content.empty() || content.front() == ';') {
        return line;
    }
    if (content.front() == '[') {
        line.kind = SECTION_LINE;
        line.name = trimmed(content.substr(1, content.find(']') - 1));
        return line;
    }
    const size_t equals = content.find('=');
    if (equals == std::string_view::npos) {
        return line;
    }
    line.kind = KEY_LINE;
    line.name = trimmed(content.substr(0, equals));
    line.value = static_cast<size_t>(content.data() - text.data()) + equals + 1;
    return line;
}

std::string_view raw_value(std::string_view text, const Line &line)
{
    return trimmed(text.substr(line.value, line.end - line.value));
}

// The value in a form that reads back as itself.
std::string written_form(std::string_view value)
{
    value = value.substr(0, value.find_first_of(LINE_ENDS));
    const bool quotes_needed = trimmed(value).size() != value.size() || is_quoted(value);
    return quotes_needed ? '"' + std::string(value) + '"' : std::string(value);
}

// How the text's first line ends; CR LF in a text without lines.
std::string line_ending(std::string_view text)
{
    const size_t end = text.find_first_of(LINE_ENDS);
    if (end == std::string_view::npos || text.substr(end).starts_with("\r\n")) {
        return "\r\n";
    }
    return std::string(1, text[end]);
}

// Where the key's line stands, or where in its section a new line belongs.
struct Place {
    bool section_found = false;
    bool key_found = false;
    Line line{};       // of the key
    size_t insert = 0; // after the section's last line that is not empty
};

Place find_place(std::string_view text, std::string_view section, std::string_view key)
{
    Place place;
    for (size_t at = 0; at < text.size();) {
        const Line line = line_at(text, at);
        at = line.next;
        if (line.kind == SECTION_LINE) {
            if (place.section_found) {
                break;
            }
            place.section_found = equal_ignoring_case(line.name, section);
        }
        if (!place.section_found) {
            continue;
        }
        if (line.kind == KEY_LINE && equal_ignoring_case(line.name, key)) {
            place.key_found = true;
            place.line = line;
            break;
        }
        if (!trimmed(text.substr(line.begin, line.end - line.begin)).empty()) {
            place.insert = line.next;
        }
    }
    return place;
}

} // namespace

std::vector<ProfileItem> profile_items(std::string_view text)
{
    std::vector<ProfileItem> items;
    std::string_view section;
    bool in_section = false;
    std::unordered_set<std::string_view, NameHash, NameEqual> seen;
    for (size_t at = 0; at < text.size();) {
        const Line line = line_at(text, at);
        at = line.next;
        if (line.kind == SECTION_LINE) {
            section = line.name;
            in_section = seen.insert(section).second;
        } else if (line.kind == KEY_LINE && in_section) {
            items.push_back({section, line.name, unquoted(raw_value(text, line))});
        }
    }
    return items;
}

std::optional<std::string_view>
profile_value(std::string_view text, std::string_view section, std::string_view key)
{
    const Place place = find_place(text, section, key);
    if (!place.key_found) {
        return {};
    }
    return unquoted(raw_value(text, place.line));
}

bool profile_has(std::string_view text, std::string_view section, std::string_view key,
                 std::string_view value)
{
    const Place place = find_place(text, section, key);
    return place.key_found && raw_value(text, place.line) == written_form(value);
}

std::string profile_with(std::string_view text, std::string_view section,
                         std::string_view key, std::string_view value)
{
    const std::string ending = line_ending(text);
    const std::string key_line = std::string(key) + '=' + written_form(value) + ending;

    const Place place = find_place(text, section, key);
    std::string changed(text);
    if (place.key_found) {
        const size_t begin = place.line.value;
        return changed.replace(begin, place.line.end - begin, written_form(value));
    }
    const size_t where = place.section_found ? place.insert : changed.size();
    std::string added = key_line;
    if (!place.section_found) {
        const std::string gap = changed.empty() ? "" : ending;
        added = gap + '[' + std::string(section) + ']' + ending + key_line;
    }
    if (where > 0 && LINE_ENDS.find(changed[where - 1]) == std::string_view::npos) {
        added = ending + added;
    }
    return changed.insert(where, added);
}

std::vector<ProfileLine> profile_lines(std::string_view text)
{
    std::vector<ProfileLine> lines;
    std::unordered_set<std::string_view, NameHash, NameEqual> sections;
    std::unordered_set<std::string_view, NameHash, NameEqual> keys; // of this section
    ProfileLine found{0, true, {}, {}, {}};
    bool section_counts = false;
    for (size_t at = 0; at < text.size();) {
        const Line line = line_at(text, at);
        at = line.next;
        found.number++;
        if (line.kind == SECTION_LINE) {
            section_counts = sections.insert(line.name).second;
            keys.clear();
            found.section = line.name;
            found.key = found.value = {};
            found.counts = section_counts;
            lines.push_back(found);
        } else if (line.kind == KEY_LINE) {
            found.key = line.name;
            found.value = unquoted(raw_value(text, line));
            found.counts = section_counts && keys.insert(line.name).second;
            lines.push_back(found);
        }
    }
    return lines;
}
