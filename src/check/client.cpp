// One client and its message, asked about as the server would.
#include "check/checks.h"

#include "base/settings.h"
#include "base/text.h"
#include "check/checked_list.h"
#include "check/findings.h"
#include "check/list_file.h"
#include "platform/access.h"
#include "platform/profile_lines.h"
#include "spool/address.h"
#include "spool/address_token.h"
#include "spool/domains.h"
#include "spool/local_users.h"
#include "spool/mail_from.h"
#include "spool/rcpt_to.h"
#include "spool/spool_files.h"

#include <cstdio>
#include <string>

namespace
{

constexpr int ACCEPTED = 0, REFUSED = 1, CANNOT_TELL = 2; // exit statuses

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

// --- The client

// Whether an entry means the client; says which.
bool list_has(const CheckedList &checked, const char *verb, const char *address,
              const Octets &client)
{
    const ListFile file = read_list_file(checked.file, checked.list == ACCEPTED_LIST
                                                           ? "every client is refused"
                                                           : "nobody is banned");
    if (!file.there) {
        report(FOUND_NOTE, file.name, 0, "is missing, so that no entry %s %s", verb,
               address);
        return false;
    }

    AddressTable table;
    AddressEntry entry;
    const char *bytes = file.content.data();
    if (bytes == nullptr) {
        return false;
    }
    if (!build_table(&table, checked.list, bytes, file.content.size())) {
        return false;
    }
    if (!find_entry(table, bytes, client, &entry)) {
        const bool whole = table.ending == SCAN_AT_END;
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

bool is_let_in(const char *address, const Octets &client)
{
    const bool accepted = !is_asked(ACCEPTED_ADDRESSES) ||
                          list_has(ACCEPTED_ADDRESSES, "accepts", address, client);
    return accepted && !(is_asked(BANNED_ADDRESSES) &&
                         list_has(BANNED_ADDRESSES, "bans", address, client));
}

// --- The message

// The line of the user's section; 0: nobody is found under the address.
int line_of_user(const char *given, std::string *section)
{
    char wanted[USER_VALUE_SIZE];
    char address[USER_VALUE_SIZE];
    user_address_compared(given, wanted);
    bool found = false;
    for (int n = 0; n < USER_LIMIT && !found && read_user_address(n, address); n++) {
        found = equal_ignoring_case(address, wanted);
        *section = "USER" + std::to_string(n);
    }
    if (!found) {
        return 0;
    }
    const ListFile file = read_list_file(USERS_FILE, "nobody is a local user");
    for (const ProfileLine &line : profile_lines(file.content)) {
        if (line.key.data() == nullptr && equal_ignoring_case(line.section, *section)) {
            return line.number;
        }
    }
    return 0;
}

void explain_user(const char *role, const char *address)
{
    std::string section;
    const int line = line_of_user(address, &section);
    if (line != 0) {
        report(FOUND_NOTE, USERS_FILE, line, "the %s %s is the local user %s", role,
               address, section.c_str());
    } else {
        report(FOUND_NOTE, USERS_FILE, 0, "the %s %s is no local user", role, address);
    }
}

// Whether a line accepts the domain of the address; says which.
bool domain_is_listed(const ListFile &file, const char *role, std::string address)
{
    char bad[BAD_CHARACTERS_SIZE];
    read_setting_text(SETTING_BADADDRCHARS, bad, sizeof bad);
    clean_address_of(address.data(), bad);
    const char *domain = domain_of(address.c_str());
    if (domain == nullptr) {
        report(FOUND_NOTE, file.name, 0, "is not asked about the %s, which has no `@`",
               role);
        return false;
    }
    if (file.content.data() == nullptr) {
        report(FOUND_NOTE, file.name, 0,
               "cannot be read, so that every domain is accepted, [%s] of the %s too",
               domain, role);
        return true;
    }
    LineCounter lines = count_lines(file);
    DomainScan scan{file.content, false};
    std::string_view entry;
    while (next_domain(&scan, &entry)) {
        if (equal_ignoring_case(std::string(entry).c_str(), domain)) {
            report(FOUND_NOTE, file.name, line_of(&lines, entry.data()),
                   "the domain [%s] of the %s is accepted", domain, role);
            return true;
        }
    }
    report(FOUND_NOTE, file.name, 0, "no line accepts the domain [%s] of the %s", domain,
           role);
    return false;
}

// The recipient is asked about only while no domain has been accepted.
bool domains_let_through(const char *sender, const char *recipient)
{
    if (read_setting(SETTING_USEDOMAINS) == 0) {
        report(FOUND_NOTE, DOMAINS_FILE, 0, "is not asked: USEDOMAINS is not set");
        return true;
    }
    const ListFile file =
        read_list_file(DOMAINS_FILE, "every domain is accepted", FOUND_NOTE);
    return domain_is_listed(file, "sender", sender) ||
           domain_is_listed(file, "recipient", recipient);
}

// What the server takes out of the command; false when it refuses it at once.
bool take_token(const char *verb, const char *address, char token[TOKEN_SIZE])
{
    const std::string argument =
        address[0] == '<' ? address : "<" + std::string(address) + ">";
    char line[ENVELOPE_LINE_SIZE];
    return argument.size() < TOKEN_SIZE && take_address_token(argument.c_str(), token) &&
           form_envelope_line(line, sizeof line, verb, token) >= 0;
}

bool is_message_accepted(const ClientQuestion &question)
{
    char sender[TOKEN_SIZE];
    char recipient[TOKEN_SIZE];
    if (!take_token("MAIL FROM", question.from, sender) ||
        !sender_fits(question.address, sender)) {
        report(FOUND_NOTE, nullptr, 0, "the sender's address is too long");
        return false;
    }
    if (!take_token("RCPT TO", question.to, recipient) || !recipient_fits(recipient)) {
        report(FOUND_NOTE, nullptr, 0, "the recipient's address is too long");
        return false;
    }
    char local[TOKEN_SIZE];
    char plain[RECIPIENT_SIZE];
    take_local_recipient(recipient, local);
    take_recipient(recipient, plain, sizeof plain);
    explain_user("sender", sender);
    explain_user("recipient", local);
    if (!domains_let_through(sender, plain)) {
        return false;
    }
    const char *why = why_not_usable(SPOOL_MAIL, MAY_WRITE);
    if (why != nullptr) {
        report(FOUND_NOTE, SPOOL_MAIL, 0, "%s: no message can be stored", why);
    }
    return why == nullptr;
}

bool is_login_required()
{
    return read_setting(SETTING_SMTPAUTHENTICATION) != 0;
}

} // namespace

int explain_client(const ClientQuestion &question)
{
    Octets client;
    if (!read_address(question.address, &client)) {
        fprintf(stderr, "%s is no address of a client, as 192.168.1.20 is\n",
                question.address);
        return CANNOT_TELL;
    }

    const bool let_in = is_let_in(question.address, client);
    const bool asks_about_message = let_in && question.from != nullptr;
    const bool accepted =
        let_in && (!asks_about_message || is_message_accepted(question));
    printf("%s would be %s\n", question.address, let_in ? "let in" : "refused");
    if (let_in && is_login_required()) {
        printf("it must log in (AUTH) before it may send: %s is set\n",
               SETTING_ROWS[SETTING_SMTPAUTHENTICATION].key);
    } else if (let_in) {
        printf("it need not log in\n");
    }
    if (asks_about_message) {
        printf("a message from %s to %s would be %s\n", question.from, question.to,
               accepted ? "accepted" : "refused");
    }
    return accepted ? ACCEPTED : REFUSED;
}
