// Either address list: the table answers what the entries say when they are read one by
// one, and nothing is read beyond the content.
//
// Input: a byte for the list, four for the client, the content.
#include "admission/address_list.h"
#include "fuzz_installation.h"

#include <cstdint>

namespace
{

std::string shown(const AddressEntry &entry, const Octets &client)
{
    char text[ENTRY_TEXT_SIZE];
    entry_text(entry, text);
    Octets address;
    promise(entry.kind != ENTRY_FULL ||
                (read_address(text, &address) && address == client),
            "an address means another one");
    return text;
}

bool means(const AddressEntry &entry, const Octets &client)
{
    bool means = entry.error == ERROR_NONE;
    for (size_t i = 0; i < client.size(); i++) {
        means =
            means && entry.range.low[i] <= client[i] && client[i] <= entry.range.high[i];
    }
    return means;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 5) {
        return 0;
    }
    const AddressList list = data[0] % 2 == 0 ? ACCEPTED_LIST : BANNED_LIST;
    const Octets client = {data[1], data[2], data[3], data[4]};
    const char *content = reinterpret_cast<const char *>(data) + 5;

    AddressEntry entry;
    ListScan scan = scan_list(list, content, size - 5);
    std::string expected;
    while (expected.empty() && next_entry(&scan, &entry)) {
        expected = means(entry, client) ? shown(entry, client) : "";
    }
    AddressTable table;
    promise(build_table(&table, list, content, size - 5), "no table");
    const bool found = find_entry(table, content, client, &entry);
    promise((found ? shown(entry, client) : "") == expected, "another entry is found");
    promise(found || table.ending == scan.ending, "the list ends for another reason");
    return 0;
}
