// MAIL FROM: the sender, and the transaction's beginning (RFC 5321, 4.1.1.2).
#pragma once

struct ClientSession;

// Handles the well-formed MAIL FROM line held in the session's `line`. May end the
// session.
void handle_mail_from(ClientSession *session);
