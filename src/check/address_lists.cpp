// What the address lists mean, entry by entry, as the server's own reader sees them.
#include "check/checks.h"

#include "base/settings.h"
#include "check/checked_list.h"
#include "check/findings.h"
#include "check/list_file.h"

#include <algorithm>

namespace
{

const char *error_words(EntryError error)
{
    switch (error) {
    case ERROR_NONE:
        break;
    case ERROR_MALFORMED:
        return "a `.` or the `-` is missing, or the last octet is empty";
    case ERROR_LONG_LINE:
        return "the line is longer than 255 characters";
    case ERROR_LONG_OCTET:
        return "an octet is longer than 3 characters, counting the blanks before a `-`";
    case ERROR_NOT_AN_ADDRESS:
        return "no client's address is written like this";
    case ERROR_NO_ASTERISK:
        return "no octet is a `*` and nothing else";
    case ERROR_POSITIONS:
        return "a `*` in just these octets is not provided for";
    case ERROR_OTHER_OCTETS:
        return "beside its first `*` every octet must be a number from 0 to 255 without "
               "leading zeros";
    case ERROR_EMPTY_RANGE:
        return "each octet is compared by itself, and one would have to lie where none "
               "can";
    }
    return "";
}

void check_line_endings(const CheckedList &checked, const ListFile &file)
{
    LineCounter lines = count_lines(file);
    for (size_t lf = file.content.find('\n'); lf != std::string_view::npos;
         lf = file.content.find('\n', lf + 1)) {
        if (lf > 0 && file.content[lf - 1] == '\r') {
            continue;
        }
        report(FOUND_ERROR, file.name, line_of(&lines, file.content.data() + lf),
               checked.list == ACCEPTED_LIST
                   ? "ends in LF alone: the server takes all up to the next CR for one "
                     "line. Lines must end in CR LF"
                   : "ends in LF alone, which becomes a part of the entry. Lines must "
                     "end in CR LF");
        return;
    }
}

void check_entry(const CheckedList &checked, const ListFile &file, int line,
                 const AddressEntry &entry)
{
    char text[ENTRY_TEXT_SIZE];
    entry_text(entry, text);

    if (entry.error == ERROR_MALFORMED) {
        report(FOUND_ERROR, file.name, line, "[%s] is malformed and ends the check: %s",
               text, error_words(entry.error));
    } else if (checked.list == BANNED_LIST && text[0] == ';') {
        report(FOUND_WARNING, file.name, line,
               "[%s] bans nobody: this list has no comments", text);
    } else if (entry.error != ERROR_NONE) {
        report(FOUND_WARNING, file.name, line, "[%s] can match nobody: %s", text,
               error_words(entry.error));
    } else if (entry.kind == ENTRY_WILDCARD_RANGE &&
               entry.range.low == Octets{0, 0, 0, 0}) {
        report(FOUND_WARNING, file.name, line,
               "[%s] does not compare its lower address: it may let in more than meant",
               text);
    } else if (entry.kind == ENTRY_WILDCARD_RANGE &&
               entry.range.high == Octets{255, 255, 255, 255}) {
        report(FOUND_WARNING, file.name, line,
               "[%s] does not compare its upper address: it may let in more than meant",
               text);
    }
}

// Counts the entries behind the end of the list. False when there are none.
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

void check_list(const CheckedList &checked)
{
    ListFile file = read_list_file(checked.file);
    bool asked = read_setting(checked.setting) != 0;
    if (!file.there) {
        if (asked && checked.list == ACCEPTED_LIST) {
            report(FOUND_ERROR, file.name, 0, "is missing: every client is refused");
        } else if (asked) {
            report(FOUND_WARNING, file.name, 0, "is missing: nobody is banned");
        }
        return;
    }
    check_line_endings(checked, file);

    LineCounter lines = count_lines(file);
    ListScan scan = scan_list(checked.list, file.content.data(), file.content.size());
    AddressEntry entry;
    int line = 0;
    int useful = 0;
    while (next_entry(&scan, &entry)) {
        line = line_of(&lines, entry.head.data());
        useful += entry.error == ERROR_NONE;
        check_entry(checked, file, line, entry);
    }
    if (!report_unread(checked, file, &lines, scan) && scan.ending == SCAN_AT_WILDCARD) {
        report(FOUND_NOTE, file.name, line,
               "the first entry with a `*` ends the list: an entry below it would not be "
               "read");
    }
    if (asked && useful == 0 && checked.list == ACCEPTED_LIST) {
        report(FOUND_ERROR, file.name, 0, "lets nobody in: every client is refused");
    }
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
