// One client's address, asked about as the server would.
#include "check/checks.h"

#include "base/settings.h"
#include "check/checked_list.h"
#include "check/findings.h"
#include "check/list_file.h"

#include <cstdio>

namespace
{

const char *kind_name(EntryKind kind)
{
    switch (kind) {
    case ENTRY_FULL:
        return "full matching entry";
    case ENTRY_RANGE:
        return "range entry";
    case ENTRY_WILDCARD:
        return "wildcard entry";
    case ENTRY_WILDCARD_RANGE:
        return "wildcard range entry";
    }
    return "entry";
}

// Whether an entry means the client; says which.
bool list_has(const CheckedList &checked, const char *verb, const char *address,
              const Octets &client)
{
    ListFile file = read_list_file(checked.file);
    if (!file.there) {
        report(FOUND_NOTE, file.name, 0, "is missing, so that no entry %s %s", verb,
               address);
        return false;
    }

    AddressTable table;
    AddressEntry entry;
    const char *bytes = file.content.data();
    if (!build_table(&table, checked.list, bytes, file.content.size())) {
        return false;
    }
    if (!find_entry(table, bytes, client, &entry)) {
        bool whole = table.ending == SCAN_AT_END;
        report(FOUND_NOTE, file.name, 0, "no entry %s %s%s%s", verb, address,
               whole ? "" : "; ", whole ? "" : ending_words(table.ending));
        return false;
    }

    char text[ENTRY_TEXT_SIZE];
    entry_text(entry, text);
    LineCounter lines = count_lines(file);
    report(FOUND_NOTE, file.name, line_of(&lines, entry.head.data()), "the %s [%s] %s %s",
           kind_name(entry.kind), text, verb, address);
    return true;
}

bool is_asked(const CheckedList &checked)
{
    if (read_setting(checked.setting) != 0) {
        return true;
    }
    report(FOUND_NOTE, checked.file, 0, "is not asked: %s is not set",
           SETTING_ROWS[checked.setting].key);
    return false;
}

} // namespace

int explain_client(const char *address)
{
    Octets client;
    if (!read_address(address, &client)) {
        fprintf(stderr, "%s is no address of a client, as 192.168.1.20 is\n", address);
        return 2;
    }

    bool accepted = !is_asked(ACCEPTED_ADDRESSES) ||
                    list_has(ACCEPTED_ADDRESSES, "accepts", address, client);
    bool banned = accepted && is_asked(BANNED_ADDRESSES) &&
                  list_has(BANNED_ADDRESSES, "bans", address, client);
    bool let_in = accepted && !banned;
    printf("%s would be %s\n", address, let_in ? "let in" : "refused");
    return let_in ? 0 : 1;
}
