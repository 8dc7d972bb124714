// Clients that guess: after ten failed logins of one address within ten minutes, it is to
// be refused unheard for ten minutes.
//
// A table of fixed size; when it is full, whoever failed longest ago is forgotten, and
// one that is refused at present only when all are.
#pragma once

#include <cstdint>

// Whether the address (dotted text) is refused at the time, in seconds.
bool is_guessing(const char *address, int64_t now);

// Counts a failed login. True when it is the one from which on the address is refused.
bool login_has_failed(const char *address, int64_t now);
