// The names and passwords that clients log in with: DATA/RAW/SMTPLOGINS.DAT, a line
// `name:hash` each, the hash as `openssl passwd -6` and `mkpasswd` write it.
//
// The file is read when somebody logs in, so that a change counts from the next login.
// Without the file every name and password is taken; with an empty one, none.
#pragma once

#include <string_view>

enum LoginVerdict {
    LOGIN_ACCEPTED,
    LOGIN_REFUSED,
    LOGIN_NOT_JUDGED, // the file is there and cannot be read
};

// Judges a name and a password. Takes the time of one hash, of whatever kind the name has
// in the file; for a name that is not there, or locked, of the kind of the first that
// has any.
LoginVerdict judge_login(std::string_view name, const char *password);

// A line of the file; the hash is all that follows the first colon. It has no data (null)
// where there is none.
struct LoginLine {
    std::string_view name;
    std::string_view hash;
};

// Takes the next line off the rest of the file's text. False at its end.
bool next_login(std::string_view *rest, LoginLine *line);

// Whether passwords are compared with the hash: every kind of hash begins with `$`, and
// what does not, as `!` and `*` do not, locks the name.
bool login_is_open(const LoginLine &line);
