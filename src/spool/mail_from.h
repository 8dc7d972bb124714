// MAIL FROM: the sender, and the transaction's beginning (RFC 5321, 4.1.1.2).
#pragma once

struct ClientSession;

// Whether a sender this long is taken from a client of this address.
bool sender_fits(const char *peer, const char *token);

// Handles a well-formed MAIL FROM; the session's `argument` is what follows its colon.
// May end the session.
void handle_mail_from(ClientSession *session);
