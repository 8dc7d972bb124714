// What the address lists mean, entry by entry, as the server's own reader sees them.
#include "check/checks.h"

#include "base/settings.h"
#include "check/checked_list.h"
#include "check/findings.h"
#include "check/list_file.h"

#include <algorithm>

namespace
{

// The first place that ends a line in one way only; null when there is none. A CR at the
// very end of the file does no harm.
const char *broken_ending(const ListFile &file)
{
    const std::string_view text = file.content;
    for (size_t at = text.find_first_of("\r\n"); at < text.size();
         at = text.find_first_of("\r\n", at)) {
        const bool whole = text.substr(at, 2) == "\r\n" || at + 1 == text.size();
        if (text[at] == '\n' || !whole) {
            return text.data() + at;
        }
        at += 2;
    }
    return nullptr;
}

void check_line_endings(const CheckedList &checked, const ListFile &file)
{
    const char *place = broken_ending(file);
    if (place == nullptr) {
        return;
    }
    const bool accepted = checked.list == ACCEPTED_LIST;
    const char *otherwise = accepted
                                ? "the server takes all up to the next CR for one line"
                                : "which becomes a part of the entry";
    if (*place == '\r') {
        otherwise = accepted ? "after which the server passes over a character"
                             : "after which the server passes over the rest of the line";
    }
    LineCounter lines = count_lines(file);
    report(severity_in_list(checked.setting, FOUND_ERROR), file.name,
           line_of(&lines, place), "ends in %s alone, %s. Lines must end in CR LF",
           *place == '\r' ? "CR" : "LF", otherwise);
}

// Counts the entries after the end of the list. False when there are none.
bool report_unread(const CheckedList &checked, const ListFile &file, LineCounter *lines,
                   const ListScan &scan)
{
    const char *end = file.content.data() + file.content.size();
    const char *first = nullptr;
    int count = 0;
    for (const char *line = scan.next; line < end;) {
        const char *line_end = std::find(line, end, '\n');
        bool comment = checked.list == ACCEPTED_LIST && *line == ';';
        if (*line != '\r' && *line != '\n' && !comment && count++ == 0) {
            first = line;
        }
        line = line_end == end ? end : line_end + 1;
    }
    if (count == 0) {
        return false;
    }
    report(FOUND_WARNING, file.name, line_of(lines, first),
           "%d entr%s from here on %s never read: %s", count, count == 1 ? "y" : "ies",
           count == 1 ? "is" : "are", ending_words(scan.ending));
    return true;
}

// Without its file a list that is switched on refuses everybody or nobody.
void report_missing(const CheckedList &checked, const ListFile &file)
{
    if (read_setting(checked.setting) == 0) {
        return;
    }
    if (checked.list == ACCEPTED_LIST) {
        report(FOUND_ERROR, file.name, 0, "is missing: every client is refused");
    } else {
        report(FOUND_WARNING, file.name, 0, "is missing: nobody is banned");
    }
}

void check_entries(const CheckedList &checked, const ListFile &file)
{
    LineCounter lines = count_lines(file);
    ListScan scan = scan_list(checked.list, file.content.data(), file.content.size());
    AddressEntry entry;
    FoundEntry found{&checked, &file, 0, &entry, ""};
    int useful = 0;
    while (next_entry(&scan, &entry)) {
        found.line = line_of(&lines, entry.head.data());
        entry_text(entry, found.text);
        useful += entry.error == ERROR_NONE ? 1 : 0;
        check_address_entry(found);
    }
    if (!report_unread(checked, file, &lines, scan) && scan.ending == SCAN_AT_WILDCARD) {
        report(FOUND_NOTE, file.name, found.line,
               "the first entry with a `*` ends the list: an entry below it would not be "
               "read");
    }
    if (useful == 0 && checked.list == ACCEPTED_LIST &&
        read_setting(checked.setting) != 0) {
        report(FOUND_ERROR, file.name, 0, "lets nobody in: every client is refused");
    }
}

void check_list(const CheckedList &checked)
{
    const ListFile file =
        read_list_file(checked.file,
                       checked.list == ACCEPTED_LIST
                           ? "every client is refused while the list is switched on"
                           : "nobody is banned",
                       severity_in_list(checked.setting, FOUND_ERROR));
    if (!file.there) {
        report_missing(checked, file);
        return;
    }
    if (file.content.data() == nullptr) {
        return; // it cannot be read
    }
    check_line_endings(checked, file);
    check_entries(checked, file);
}

} // namespace

const char *ending_words(ScanEnd ending)
{
    switch (ending) {
    case SCAN_AT_EMPTY_LINE:
        return "an empty line ends the list";
    case SCAN_AT_WILDCARD:
        return "the first entry with a `*` ends the list";
    case SCAN_AT_MALFORMED:
        return "a malformed entry ends the check";
    default:
        return "the list ends here";
    }
}

void check_address_lists()
{
    check_list(ACCEPTED_ADDRESSES);
    check_list(BANNED_ADDRESSES);
}
