// The domains file, DATA\RAW\DOMAIN.DAT, which the fax server maintains.
#pragma once

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
