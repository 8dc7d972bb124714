// The address in a MAIL FROM or RCPT TO line, as the client sent it.
#pragma once

#include <cstddef>

inline constexpr int TOKEN_SIZE = 1024; // as long as a line can be

// Takes the address out of the command's argument, the text after its colon: the
// argument's first word if it has a blank, else what follows a second colon, else all of
// it. False when there are blanks only.
bool take_address_token(const char *argument, char token[TOKEN_SIZE]);

// The envelope line: "<verb>: <token>" with brackets added unless the token begins with
// one, and CR LF. Returns its length, or -1 when it is longer than an envelope line may
// be (511 bytes).
int form_envelope_line(char *line, int size, const char *verb, const char *token);

inline constexpr int ENVELOPE_LINE_SIZE = 512;

// A recipient as local users are looked up: a token that begins with a bracket without
// it, up to its last closing one.
void take_local_recipient(const char *token, char address[TOKEN_SIZE]);

// A recipient as it is logged and its domain is checked: the token without a closing
// bracket at its end and an opening one at its beginning.
void take_recipient(const char *token, char *recipient, size_t size);
