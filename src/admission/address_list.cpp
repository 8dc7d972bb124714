#include "admission/address_list.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>

namespace
{

// Bytes of the shortest entry that can match somebody and does not end the list: the
// dots, the dash and the last octet of a range whose other octets are left out.
constexpr size_t SHORTEST_ROW = 8;

// A line of the accepted list ends at a CR, and the next one begins two bytes after that
// CR, whatever the second byte is. False when the list has ended.
bool next_accepted_line(ListScan *scan, ListLine *line)
{
    size_t left = static_cast<size_t>(scan->end - scan->next);
    const void *cr = left > 0 ? memchr(scan->next, '\r', left) : nullptr;
    if (cr == nullptr && left < 2) {
        scan->ending = SCAN_AT_END;
        return false;
    }

    size_t length = left;
    if (cr != nullptr) {
        length = static_cast<size_t>(static_cast<const char *>(cr) - scan->next);
    }
    line->text = {scan->next, length};
    line->tooLong = length > LIST_LINE_LIMIT;
    scan->next += std::min(left, length + 2); // a CR may be the last byte of all
    return true;
}

// The lines of the banned list end at an LF; what stands in one from its first CR, or
// NUL, on is cut off. The limit counts the ending. False when the list has ended.
bool next_banned_line(ListScan *scan, ListLine *line)
{
    size_t left = static_cast<size_t>(scan->end - scan->next);
    if (left == 0) {
        scan->ending = SCAN_AT_END;
        return false;
    }

    const void *lf = memchr(scan->next, '\n', left);
    size_t length = left;
    if (lf != nullptr) {
        length = static_cast<size_t>(static_cast<const char *>(lf) - scan->next) + 1;
    }
    line->text = {scan->next, length};
    line->text = line->text.substr(0, line->text.find('\r'));
    line->text = line->text.substr(0, line->text.find('\0'));
    line->tooLong = length > LIST_LINE_LIMIT;
    scan->next += length;
    return true;
}

bool is_comment(const ListScan &scan, std::string_view text)
{
    return scan.list == ACCEPTED_LIST && text.front() == ';';
}

ScanEnd ending_after(AddressList list, const AddressEntry &entry)
{
    if (entry.error == ERROR_MALFORMED) {
        return SCAN_AT_MALFORMED;
    }
    if (list == ACCEPTED_LIST &&
        (entry.kind == ENTRY_WILDCARD || entry.kind == ENTRY_WILDCARD_RANGE)) {
        return SCAN_AT_WILDCARD;
    }
    return SCAN_GOES_ON;
}

bool range_holds(const AddressRange &range, const Octets &address)
{
    for (size_t i = 0; i < 4; i++) {
        if (address[i] < range.low[i] || address[i] > range.high[i]) {
            return false;
        }
    }
    return true;
}

void widen(AddressRange *range, const AddressRange &by)
{
    for (size_t i = 0; i < 4; i++) {
        range->low[i] = std::min(range->low[i], by.low[i]);
        range->high[i] = std::max(range->high[i], by.high[i]);
    }
}

void add_row(AddressTable *table, const AddressRange &range, size_t start)
{
    assert(table->count == 0 || table->starts[table->count - 1] < start);
    AddressRange *block = &table->blocks[table->count / BLOCK_ROWS];
    if (table->count % BLOCK_ROWS == 0) {
        *block = range;
    } else {
        widen(block, range);
    }
    table->ranges[table->count] = range;
    table->starts[table->count] = start;
    table->count++;
}

// The first row that holds the address; the count of rows when none does.
size_t find_row(const AddressTable &table, const Octets &address)
{
    for (size_t first = 0; first < table.count; first += BLOCK_ROWS) {
        if (!range_holds(table.blocks[first / BLOCK_ROWS], address)) {
            continue;
        }
        size_t end = std::min(first + BLOCK_ROWS, table.count);
        for (size_t row = first; row < end; row++) {
            if (range_holds(table.ranges[row], address)) {
                return row;
            }
        }
    }
    return table.count;
}

} // namespace

ListScan scan_list(AddressList list, const char *bytes, size_t size)
{
    // The accepted list is one text, which ends at its first NUL.
    if (list == ACCEPTED_LIST && size > 0) {
        if (const void *nul = memchr(bytes, '\0', size)) {
            size = static_cast<size_t>(static_cast<const char *>(nul) - bytes);
        }
    }
    return {list, bytes, bytes + size, SCAN_GOES_ON};
}

bool next_entry(ListScan *scan, AddressEntry *entry)
{
    while (scan->ending == SCAN_GOES_ON) {
        ListLine line;
        if (!(scan->list == ACCEPTED_LIST ? next_accepted_line(scan, &line)
                                          : next_banned_line(scan, &line))) {
            return false;
        }
        if (line.text.empty()) {
            scan->ending = SCAN_AT_EMPTY_LINE;
            return false;
        }
        if (is_comment(*scan, line.text)) {
            continue;
        }

        read_entry(scan->list, line, entry);
        scan->ending = ending_after(scan->list, *entry);
        return true;
    }
    return false;
}

bool build_table(AddressTable *table, AddressList list, const char *bytes, size_t size)
{
    ListScan scan = scan_list(list, bytes, size);

    // One more: the wildcard entry that ends the accepted list may be shorter.
    size_t room = static_cast<size_t>(scan.end - scan.next) / SHORTEST_ROW + 1;

    *table = {};
    table->list = list;
    table->size = static_cast<size_t>(scan.end - bytes);
    table->ranges.reset(new (std::nothrow) AddressRange[room]);
    table->blocks.reset(new (std::nothrow) AddressRange[room / BLOCK_ROWS + 1]);
    table->starts.reset(new (std::nothrow) size_t[room]);
    if (!table->ranges || !table->blocks || !table->starts) {
        *table = {};
        return false;
    }

    AddressEntry entry;
    while (next_entry(&scan, &entry)) {
        if (entry.error != ERROR_NONE) {
            continue;
        }
        assert(table->count < room);
        add_row(table, entry.range, static_cast<size_t>(entry.head.data() - bytes));
    }
    table->ending = scan.ending;
    return true;
}

bool find_entry(const AddressTable &table, const char *bytes, const Octets &address,
                AddressEntry *entry)
{
    const size_t row = find_row(table, address);
    if (row == table.count) {
        return false;
    }

    ListScan scan = {table.list, bytes + table.starts[row], bytes + table.size,
                     SCAN_GOES_ON};
    return next_entry(&scan, entry);
}

bool find_entry_without_table(AddressList list, const char *bytes, size_t size,
                              const Octets &address, AddressEntry *entry)
{
    ListScan scan = scan_list(list, bytes, size);
    while (next_entry(&scan, entry)) {
        if (entry->error == ERROR_NONE && range_holds(entry->range, address)) {
            return true;
        }
    }
    return false;
}
