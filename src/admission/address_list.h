// The two address lists, as the checks read them: entry by entry, and as a table of
// the entries that somebody can match.
#pragma once

#include <cstddef>
#include <memory>

#include "admission/address_entry.h"

// Why nothing more is read.
enum ScanEnd {
    SCAN_GOES_ON,
    SCAN_AT_END, // the file has ended
    SCAN_AT_EMPTY_LINE,
    SCAN_AT_WILDCARD,  // accepted list: after the first wildcard or wildcard range entry
    SCAN_AT_MALFORMED, // after an entry that ends the check with the answer 0
};

struct ListScan {
    AddressList list;
    const char *next; // where reading goes on
    const char *end;
    ScanEnd ending;
};

// Begins at the top of a list's content, which must outlive the scan and the entries it
// finds.
ListScan scan_list(AddressList list, const char *bytes, size_t size);

// The next entry; comments are passed over. False when the scan has ended.
bool next_entry(ListScan *scan, AddressEntry *entry);

inline constexpr size_t BLOCK_ROWS = 64;

// Built once for a content. Rows are in the order of the file, and most lists are sorted,
// so that a check skips the blocks whose range does not hold the address.
struct AddressTable {
    AddressList list;
    size_t size; // the content that was read
    std::unique_ptr<AddressRange[]> ranges;
    std::unique_ptr<AddressRange[]> blocks; // each holds the ranges of BLOCK_ROWS rows
    std::unique_ptr<size_t[]> starts;       // where each row's line begins in the content
    size_t count;
    ScanEnd ending; // of a check that no row matches
};

// False, with an empty table, when memory is exhausted.
bool build_table(AddressTable *table, AddressList list, const char *bytes, size_t size);

// Finds the first entry that matches the address, and reads it again from the content
// that the table was built from. False when there is none.
bool find_entry(const AddressTable &table, const char *bytes, const Octets &address,
                AddressEntry *entry);

// The same without a table, for when there is no memory for one.
bool find_entry_without_table(AddressList list, const char *bytes, size_t size,
                              const Octets &address, AddressEntry *entry);
