// What is checked in an installation directory, which is the working directory. No check
// changes anything there. Every check reports what it finds (check/findings.h).
#pragma once

// Directories that are missing or that this user cannot write to.
void check_directories();

// Settings that are unknown, out of range or no numbers.
void check_settings();

// Whether the server could listen on its address and port now.
void check_port();

// Entries of the two address lists that match nobody or are never read.
void check_address_lists();

// Users that are never found, domain lines that never match.
void check_users();
void check_domains();

// Makes the directories and example files that are missing, and reports what cannot be
// made. The exit status.
int create_installation();

// Says whether the server would let a client of this address in, and by which entry. The
// exit status: 0 let in, 1 refused, 2 not an address.
int explain_client(const char *address);
