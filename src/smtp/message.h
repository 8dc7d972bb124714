// The text of a message: the lines between the 354 and the end line, and the reply to it.
//
// Lines are stored as they came, dots and all, each ending in CR LF (the leading dot of
// RFC 5321, 4.5.2 is left in place: the fax server takes it away).
#pragma once

struct ClientSession;
struct StoreJob;

// Handles bytes of the text; the line with a single dot completes the message, hands it
// over and is answered, at once or when the disk has it. May end the session.
void message_receive(ClientSession *session, const char *bytes, int count);

// A message that was on its way to the disk is there, or is not: who sent it and waits,
// null when that session has ended; and the answer. May end the session.
ClientSession *message_sender(const StoreJob *report);
void message_reported(StoreJob *report);
