#include "admission/banned_addresses.h"

#include "admission/address_list.h"
#include "base/paths.h"
#include "log/activity_log.h"
#include "platform/file_contents.h"

namespace
{

// What the log calls each kind of entry.
const char *kind_name(EntryKind kind)
{
    switch (kind) {
    case ENTRY_FULL:
        return "full match";
    case ENTRY_RANGE:
        return "range";
    default:
        return "asterisk";
    }
}

// The table of this content, built again only when the content changes, so that a long
// list costs a client only comparisons. Null without memory for it.
const AddressTable *table_of(const FileContents &contents)
{
    static AddressTable table;
    static uint64_t version;

    if (version != contents.version) {
        version = 0;
        if (!build_table(&table, BANNED_LIST, contents.bytes, contents.size)) {
            return nullptr;
        }
        version = contents.version;
    }
    return &table;
}

// A list that has never been read and, for a fault that may pass, cannot be read now.
// Logged once until it can.
bool is_unknown(const FileContents &contents)
{
    static bool logged;
    const bool unknown = contents.bytes == nullptr && !contents.missing;
    if (unknown && !logged) {
        log_stamped(
            "SMTP: Banned addresses cannot be read, everybody is refused - %s [%s]",
            contents.error, BANNED_FILE);
    }
    logged = unknown;
    return unknown;
}

} // namespace

int is_banned_ip_address(const char *address)
{
    const FileContents contents = file_contents(BANNED_FILE);
    if (contents.lasting) {
        return 0; // a list that nobody may open, or that is no text, bans nobody
    }
    if (is_unknown(contents)) {
        return 1;
    }
    if (contents.bytes == nullptr) {
        return 0;
    }

    Octets client;
    if (!read_address(address, &client)) {
        return 0;
    }

    AddressEntry entry;
    const AddressTable *table = table_of(contents);
    const bool banned = table != nullptr
                            ? find_entry(*table, contents.bytes, client, &entry)
                            : find_entry_without_table(BANNED_LIST, contents.bytes,
                                                       contents.size, client, &entry);
    if (!banned) {
        return 0;
    }

    char line[ENTRY_TEXT_SIZE];
    entry_text(entry, line);
    log_stamped(WEIGHT_WARNING, "SMTP DEBUG: connection broken by %s entry [%s]",
                kind_name(entry.kind), line);
    return 1;
}
