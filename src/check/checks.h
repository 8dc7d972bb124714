// What is checked in an installation directory, which is the working directory. No check
// changes anything there. Every check reports what it finds (check/findings.h).
#pragma once

// Directories that are missing, or that the user cannot write to; files that it cannot
// write to; names that are there in more than one letter case.
void check_directories();

// Why the user cannot read the directory and do what is wanted there (MAY_WRITE or
// nothing, platform/access.h); null when it can.
const char *why_not_usable(const char *directory, unsigned wanted);

// Settings that are unknown, out of range, no numbers or never read.
void check_settings();

// Whether the server could listen on its address and port now, or does so already.
void check_port();

// Entries of the two address lists that match nobody, or others than they seem to, or are
// never read.
void check_address_lists();

// Users that are never found.
void check_users();

// Domain lines that never match.
void check_domains();

// Logins that are never right, or too easily guessed, or slow; and whether the settings
// and the file let clients log in at all.
void check_logins();

// Makes the directories and example files that are missing, and reports what cannot be
// made. The exit status.
int create_installation();

struct ClientQuestion {
    const char *address;
    const char *from, *to; // of a message; null: it is not asked about
};

// Says what the server would do with the client, and with its message, and why. The exit
// status: 0 accepted, 1 refused, 2 it cannot be told.
int explain_client(const ClientQuestion &question);
