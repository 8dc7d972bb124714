// The domains file, DATA\RAW\DOMAIN.DAT, which the fax server maintains.
#pragma once

// 1 when the domain equals an entry, in any letter case, or the file cannot be opened
// (which is logged); else 0.
int domain_is_accepted(const char *domain);

// The text behind the first at sign of a cleaned address, or null.
const char *domain_of(const char *address);
