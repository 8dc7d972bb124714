// What one line of an address list means.
//
// Every entry, however it is written, becomes a range: a lowest and a highest number for
// each of the four octets. It matches a client when every octet of the client's address
// is within those limits.
//
// A client's address is always the text that address_to_text() writes: numbers from 0
// to 255 without leading zeros. So an entry, or an octet, that is compared as text can
// equal a client's only if it is written like that, and is then a number as well.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

enum AddressList { ACCEPTED_LIST, BANNED_LIST };

using Octets = std::array<uint8_t, 4>;

struct AddressRange {
    Octets low, high; // both included
};

enum EntryKind {
    ENTRY_FULL,           // a.b.c.d
    ENTRY_RANGE,          // a.b.c.d-e.f.g.h
    ENTRY_WILDCARD,       // some octets are `*`
    ENTRY_WILDCARD_RANGE, // both; the banned list takes it for a wildcard entry
};

// Why an entry can match nobody.
enum EntryError {
    ERROR_NONE,
    ERROR_MALFORMED,      // a `.` or the `-` is missing, or the last octet is empty
    ERROR_LONG_LINE,      // over 255 characters
    ERROR_LONG_OCTET,     // over 3 characters, the blanks before a `-` included
    ERROR_NOT_AN_ADDRESS, // full entries: no client's address is written like this
    ERROR_NO_ASTERISK,    // wildcard entries: no octet is `*` and nothing else
    ERROR_POSITIONS,      // accepted list: `*` in octets that do not go together
    ERROR_OTHER_OCTETS,   // banned list: another octet is not written as in addresses
    ERROR_EMPTY_RANGE,    // some octet would have to lie where no octet can lie
};

inline constexpr size_t LIST_LINE_LIMIT = 255; // characters
inline constexpr size_t ENTRY_TEXT_SIZE = LIST_LINE_LIMIT + 1;

struct ListLine {
    std::string_view text; // without its ending
    bool tooLong;          // such an entry keeps its kind and matches nobody
};

// A set of octets, a bit each: 1 is the first, 8 the fourth.
using OctetSet = unsigned;

struct AddressEntry {
    EntryKind kind;
    EntryError error;
    AddressRange range; // when there is no error
    // Together the line; in a range without the blanks after its `-`.
    std::string_view head, tail;

    // For whoever explains the entry; of what is compared as numbers. In a wildcard entry
    // both addresses are the one.
    OctetSet lowAsterisks, highAsterisks; // written `*`
    OctetSet lowCompared, highCompared;   // compared with the client's
    std::string_view odd; // the first of these that is no number from 0 to 255
};

// Reads the text of a client's address. False when it is none.
bool read_address(std::string_view text, Octets *address);

// What the line (not empty, no comment) means in the list.
void read_entry(AddressList list, const ListLine &line, AddressEntry *entry);

// The entry's line as the log shows it, cut to what a line may hold.
void entry_text(const AddressEntry &entry, char (&text)[ENTRY_TEXT_SIZE]);
