// The domains file, DATA\RAW\DOMAIN.DAT, which the fax server maintains.
#pragma once

#include <string_view>

struct ClientSession;

// 1 when the domain equals an entry, in any letter case, or the file cannot be opened
// (which is logged); else 0.
int domain_is_accepted(const char *domain);

// The text after the first at sign of a cleaned address, or null.
const char *domain_of(const char *address);

// With USEDOMAINS, unless a domain of the transaction has been accepted already: cleans
// the address in place, checks its domain, if it has one, and logs the outcome. `whose`
// is "Sender" or "Recipient".
void check_domain(ClientSession *session, const char *whose, char *address);

// Goes through a domains file's text as the look-up does.
struct DomainScan {
    std::string_view rest;
    bool ended;
};

// The next text that domains are compared with: of a line all before its last comma, or
// the whole line with its ending when it has none, so that a line without a comma means a
// domain only at the very end of the file. False at the end of the list.
bool next_domain(DomainScan *scan, std::string_view *entry);
