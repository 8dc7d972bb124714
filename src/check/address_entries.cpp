// What one entry of an address list means, where that is other than it seems.
#include "check/checked_list.h"

#include "base/text.h"
#include "check/findings.h"

#include <string>

namespace
{

constexpr OctetSet ALL_OCTETS = 15;

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

// Asterisks in some octets leave a whole address uncompared, and one in either address
// its octet in both. Why; null when every number of the entry is compared.
const char *why_not_compared(const AddressEntry &entry)
{
    const OctetSet low = ALL_OCTETS & ~entry.lowAsterisks & ~entry.lowCompared;
    const OctetSet high = ALL_OCTETS & ~entry.highAsterisks & ~entry.highCompared;
    if ((low | high) == 0) {
        return nullptr;
    }
    if (entry.lowCompared == 0) {
        return "its lower address is not compared";
    }
    return entry.highCompared == 0
               ? "its upper address is not compared"
               : "an octet that is `*` in one address is not compared in the other";
}

void check_comparison(const FoundEntry &found)
{
    const AddressEntry &entry = *found.entry;
    const char *why = why_not_compared(entry);
    if (why == nullptr) {
        return;
    }
    const Setting setting = found.checked->setting;
    if (entry.lowCompared == 0 && entry.highCompared == 0) {
        report(
            severity_in_list(setting, FOUND_ERROR), found.file->name, found.line,
            "[%s] lets in everybody: with `*` in just these octets nothing is compared",
            found.text);
    } else {
        report(FOUND_WARNING, found.file->name, found.line,
               "[%s] lets in more than meant: %s", found.text, why);
    }
}

// An address between the two of the entry that it does not mean, since one octet before
// the last differs and a later one, `narrow`, has not all values.
Octets address_left_out(const AddressRange &range, size_t differs, size_t narrow)
{
    Octets address = range.low;
    const bool above = range.high[narrow] < 255;
    if (range.high[differs] - range.low[differs] > 1) {
        address[differs]++;
    } else if (!above) {
        address[differs] = range.high[differs];
    }
    address[narrow] =
        static_cast<uint8_t>(above ? range.high[narrow] + 1 : range.low[narrow] - 1);
    return address;
}

// The first octet after this one that has not all values; 4 when each has.
size_t narrow_octet_after(const AddressRange &range, size_t octet)
{
    do {
        octet++;
    } while (octet < 4 && range.low[octet] == 0 && range.high[octet] == 255);
    return octet;
}

void check_span(const FoundEntry &found)
{
    const AddressRange &range = found.entry->range;
    const OctetSet compared = found.entry->lowCompared & found.entry->highCompared;
    for (size_t differs = 0; differs < 3; differs++) {
        const size_t narrow = narrow_octet_after(range, differs);
        if ((compared & (1U << differs)) != 0 && narrow < 4 &&
            range.low[differs] != range.high[differs]) {
            const Octets out = address_left_out(range, differs, narrow);
            report(
                FOUND_WARNING, found.file->name, found.line,
                "[%s] compares each octet by itself: it does not %s %d.%d.%d.%d, which "
                "lies between its addresses",
                found.text, found.checked->list == ACCEPTED_LIST ? "let in" : "ban",
                out[0], out[1], out[2], out[3]);
            return;
        }
    }
}

void check_odd_octet(const FoundEntry &found)
{
    if (found.entry->odd.data() != nullptr) {
        const std::string odd(found.entry->odd);
        report(
            FOUND_WARNING, found.file->name, found.line,
            "[%s] has the octet `%s`, which is no number from 0 to 255: it is compared "
            "as %d",
            found.text, odd.c_str(), text_to_number(odd.c_str()));
    }
}

} // namespace

void check_address_entry(const FoundEntry &found)
{
    const AddressEntry &entry = *found.entry;
    if (entry.error == ERROR_MALFORMED) {
        report(severity_in_list(found.checked->setting, FOUND_ERROR), found.file->name,
               found.line, "[%s] is malformed and ends the check: %s", found.text,
               error_words(entry.error));
    } else if (found.checked->list == BANNED_LIST && found.text[0] == ';') {
        report(FOUND_WARNING, found.file->name, found.line,
               "[%s] bans nobody: this list has no comments", found.text);
    } else if (entry.error != ERROR_NONE) {
        report(FOUND_WARNING, found.file->name, found.line, "[%s] can match nobody: %s",
               found.text, error_words(entry.error));
    } else {
        check_odd_octet(found);
        if (entry.kind == ENTRY_WILDCARD_RANGE) {
            check_comparison(found);
        }
        if (entry.kind == ENTRY_RANGE || entry.kind == ENTRY_WILDCARD_RANGE) {
            check_span(found);
        }
    }
}
