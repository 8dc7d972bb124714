// From the address text that a client gave to the bare address in lower case.
//
// Serves the domain checks and nothing else: envelopes, user look-ups and log lines keep
// the address as the client sent it.
#pragma once

// Rewrites the text in place; it never grows. 1 when it was not empty, and it may be
// empty afterwards; 0 when it was, and is left alone. Reads `badaddrchars`, and notes the
// shorter set in the settings file where the default is in force.
int clean_address(char *text);

inline constexpr int BAD_CHARACTERS_SIZE = 128;

// The same with the bad characters given, and without a look at the settings.
int clean_address_of(char *text, const char *bad_characters);
