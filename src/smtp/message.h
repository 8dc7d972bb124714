// The text of a message: the lines between the 354 and the end line, and the reply to it.
//
// Lines are stored as they came, dots and all, each ending in CR LF (the leading dot of
// RFC 5321, 4.5.2 is left in place: the fax server takes it away).
#pragma once

struct ClientSession;

// Handles bytes of the text; the line with a single dot completes the message, hands it
// over and is answered. May end the session.
void message_receive(ClientSession *session, const char *bytes, int count);
