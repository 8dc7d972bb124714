#include "admission/address_entry.h"

#include <cstdlib>

namespace
{

using Fields = std::array<std::string_view, 4>;

constexpr size_t FIELD_LIMIT = 3; // characters of an octet
constexpr int HIGHEST_OCTET = 255;

// Sets of positions, a bit for each octet.
constexpr unsigned FIRST = 1, SECOND = 2, THIRD = 4, FOURTH = 8;
constexpr unsigned ALL = FIRST | SECOND | THIRD | FOURTH;

constexpr unsigned position(size_t octet)
{
    return 1U << octet;
}

constexpr bool contains(std::string_view text, char c)
{
    return text.find(c) != std::string_view::npos;
}

// The texts before the first, second and third `.`, and all that follows. False when a
// `.` is missing or nothing follows the third.
bool split_address(std::string_view text, Fields *fields)
{
    for (size_t i = 0; i < 3; i++) {
        size_t dot = text.find('.');
        if (dot == std::string_view::npos) {
            return false;
        }
        (*fields)[i] = text.substr(0, dot);
        text.remove_prefix(dot + 1);
    }
    (*fields)[3] = text;
    return !text.empty();
}

std::string_view without_blanks(std::string_view text)
{
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

bool any_too_long(const Fields &fields)
{
    for (std::string_view field : fields) {
        if (field.size() > FIELD_LIMIT) {
            return true;
        }
    }
    return false;
}

unsigned asterisks(const Fields &fields)
{
    unsigned positions = 0;
    for (size_t i = 0; i < 4; i++) {
        if (fields[i] == "*") {
            positions |= position(i);
        }
    }
    return positions;
}

// The number of a field that is written as in a client's address, or -1.
int octet_as_written(std::string_view field)
{
    if (field.empty() || field.size() > FIELD_LIMIT) {
        return -1;
    }
    if (field[0] == '0' && field.size() > 1) {
        return -1;
    }

    int number = 0;
    for (char c : field) {
        if (c < '0' || c > '9') {
            return -1;
        }
        number = number * 10 + (c - '0');
    }
    return number <= HIGHEST_OCTET ? number : -1;
}

// The number that a field (3 characters at most) reads as, from -99 to 999.
int octet_number(std::string_view field)
{
    int number = octet_as_written(field);
    if (number >= 0) {
        return number;
    }

    char text[FIELD_LIMIT + 1] = {};
    field.copy(text, FIELD_LIMIT);
    return atoi(text);
}

// Bounds as they are written, which may lie beyond what an octet can be. Positions
// that are not bounded are open.
struct Bounds {
    std::array<int, 4> low = {0, 0, 0, 0};
    std::array<int, 4> high = {HIGHEST_OCTET, HIGHEST_OCTET, HIGHEST_OCTET,
                               HIGHEST_OCTET};
};

void set_range(AddressEntry *entry, const Bounds &bounds)
{
    for (size_t i = 0; i < 4; i++) {
        int low = bounds.low[i] > 0 ? bounds.low[i] : 0;
        int high = bounds.high[i] < HIGHEST_OCTET ? bounds.high[i] : HIGHEST_OCTET;
        if (low > high) {
            entry->error = ERROR_EMPTY_RANGE;
            return;
        }
        entry->range.low[i] = static_cast<uint8_t>(low);
        entry->range.high[i] = static_cast<uint8_t>(high);
    }
}

// Compared as a whole text.
void read_full(AddressEntry *entry, std::string_view text)
{
    Octets address;
    if (read_address(text, &address)) {
        entry->range = {address, address};
    } else {
        entry->error = ERROR_NOT_AN_ADDRESS;
    }
}

// --- Ranges

// Splits a range into its octets. The fourth lower octet ends at the first `-` after its
// `.`; blanks around it and around the upper address are dropped. False when the entry
// has an error.
bool split_range(AddressEntry *entry, std::string_view text, Fields *lower, Fields *upper)
{
    entry->error = ERROR_MALFORMED;
    if (!split_address(text, lower)) {
        return false;
    }

    std::string_view &fourth = (*lower)[3];
    size_t dash = fourth.find('-');
    if (dash == std::string_view::npos) {
        return false;
    }

    entry->tail = without_blanks(fourth.substr(dash + 1));
    fourth = fourth.substr(0, dash);
    entry->head =
        text.substr(0, static_cast<size_t>(fourth.data() - text.data()) + dash + 1);
    if (!split_address(entry->tail, upper)) {
        return false;
    }

    entry->error = ERROR_LONG_OCTET;
    if (any_too_long(*lower) || any_too_long(*upper)) {
        return false;
    }

    fourth = without_blanks(fourth);
    entry->error = ERROR_NONE;
    return true;
}

// Digits and no more than an octet can be; leading zeros do no harm.
bool is_octet(std::string_view field)
{
    return !field.empty() &&
           field.find_first_not_of("0123456789") == std::string_view::npos &&
           octet_number(field) <= HIGHEST_OCTET;
}

void note_odd(AddressEntry *entry, std::string_view field)
{
    if (entry->odd.data() == nullptr && !is_octet(field)) {
        entry->odd = field;
    }
}

void bound_below(AddressEntry *entry, Bounds *bounds, const Fields &lower,
                 OctetSet compared)
{
    entry->lowAsterisks = asterisks(lower);
    entry->lowCompared = compared;
    for (size_t i = 0; i < 4; i++) {
        if (compared & position(i)) {
            bounds->low[i] = octet_number(lower[i]);
            note_odd(entry, lower[i]);
        }
    }
}

void bound_above(AddressEntry *entry, Bounds *bounds, const Fields &upper,
                 OctetSet compared)
{
    entry->highAsterisks = asterisks(upper);
    entry->highCompared = compared;
    for (size_t i = 0; i < 4; i++) {
        if (compared & position(i)) {
            bounds->high[i] = octet_number(upper[i]);
            note_odd(entry, upper[i]);
        }
    }
}

void read_range(AddressEntry *entry, std::string_view text)
{
    Fields lower, upper;
    if (!split_range(entry, text, &lower, &upper)) {
        return;
    }

    Bounds bounds;
    bound_below(entry, &bounds, lower, ALL);
    bound_above(entry, &bounds, upper, ALL);
    set_range(entry, bounds);
}

// The octets that one side of a wildcard range compares; none with other sets of
// asterisks, so that everybody passes on that side.
unsigned compared_beside(unsigned asterisk_positions)
{
    switch (asterisk_positions) {
    case THIRD:
    case FOURTH:
    case THIRD | FOURTH:
        return ALL & ~asterisk_positions;
    default:
        return 0;
    }
}

void read_wildcard_range(AddressEntry *entry, std::string_view text)
{
    Fields lower, upper;
    if (!split_range(entry, text, &lower, &upper)) {
        return;
    }

    unsigned below = asterisks(lower);
    unsigned either = below | asterisks(upper);

    Bounds bounds;
    bound_below(entry, &bounds, lower, compared_beside(below));
    bound_above(entry, &bounds, upper, compared_beside(either));
    set_range(entry, bounds);
}

// --- Wildcards

bool split_wildcard(AddressEntry *entry, std::string_view text, Fields *fields)
{
    if (!split_address(text, fields)) {
        entry->error = ERROR_MALFORMED;
    } else if (any_too_long(*fields)) {
        entry->error = ERROR_LONG_OCTET;
    } else if (asterisks(*fields) == 0) {
        entry->error = ERROR_NO_ASTERISK;
    }
    return entry->error == ERROR_NONE;
}

// The sets of asterisks that the accepted list knows. Others match nobody.
bool goes_together(unsigned asterisk_positions)
{
    switch (asterisk_positions) {
    case ALL:
    case FIRST:
    case SECOND:
    case THIRD:
    case FOURTH:
    case FIRST | SECOND:
    case FIRST | SECOND | THIRD:
    case THIRD | FOURTH:
    case SECOND | THIRD | FOURTH:
        return true;
    default:
        return false;
    }
}

// Accepted list: the octets beside the asterisks are compared as numbers.
void read_accepted_wildcard(AddressEntry *entry, std::string_view text)
{
    Fields fields;
    if (!split_wildcard(entry, text, &fields)) {
        return;
    }

    unsigned open = asterisks(fields);
    if (!goes_together(open)) {
        entry->error = ERROR_POSITIONS;
        return;
    }

    Bounds bounds;
    bound_below(entry, &bounds, fields, ALL & ~open);
    bound_above(entry, &bounds, fields, ALL & ~open);
    set_range(entry, bounds);
}

// Banned list: only the first asterisk is one, and the other octets are compared as
// texts.
void read_banned_wildcard(AddressEntry *entry, std::string_view text)
{
    Fields fields;
    if (!split_wildcard(entry, text, &fields)) {
        return;
    }

    Bounds bounds;
    bool open_found = false;
    for (size_t i = 0; i < 4; i++) {
        if (fields[i] == "*" && !open_found) {
            open_found = true;
            continue;
        }
        int number = octet_as_written(fields[i]);
        if (number < 0) {
            entry->error = ERROR_OTHER_OCTETS;
            return;
        }
        bounds.low[i] = bounds.high[i] = number;
    }
    set_range(entry, bounds);
}

// The kind follows from the characters that occur anywhere in the line.
EntryKind kind_of(AddressList list, std::string_view text)
{
    bool dash = contains(text, '-');
    if (!contains(text, '*')) {
        return dash ? ENTRY_RANGE : ENTRY_FULL;
    }
    return dash && list == ACCEPTED_LIST ? ENTRY_WILDCARD_RANGE : ENTRY_WILDCARD;
}

} // namespace

bool read_address(std::string_view text, Octets *address)
{
    Fields fields;
    if (!split_address(text, &fields)) {
        return false;
    }

    for (size_t i = 0; i < 4; i++) {
        int number = octet_as_written(fields[i]);
        if (number < 0) {
            return false;
        }
        (*address)[i] = static_cast<uint8_t>(number);
    }
    return true;
}

void read_entry(AddressList list, const ListLine &line, AddressEntry *entry)
{
    *entry = {};
    entry->kind = kind_of(list, line.text);
    entry->head = line.text;
    if (line.tooLong) {
        entry->error = ERROR_LONG_LINE;
        return;
    }

    switch (entry->kind) {
    case ENTRY_FULL:
        read_full(entry, line.text);
        break;
    case ENTRY_RANGE:
        read_range(entry, line.text);
        break;
    case ENTRY_WILDCARD:
        if (list == ACCEPTED_LIST) {
            read_accepted_wildcard(entry, line.text);
        } else {
            read_banned_wildcard(entry, line.text);
        }
        break;
    case ENTRY_WILDCARD_RANGE:
        read_wildcard_range(entry, line.text);
        break;
    }
}

void entry_text(const AddressEntry &entry, char (&text)[ENTRY_TEXT_SIZE])
{
    size_t length = entry.head.copy(text, LIST_LINE_LIMIT);
    length += entry.tail.copy(text + length, LIST_LINE_LIMIT - length);
    text[length] = '\0';
}
