// The message text: from the client's lines to the message file and its hand-off.
//
// Lines are stored as they came, each ending in CR LF, dots and all (the leading dot of
// RFC 5321, 4.5.2 is left in place: the fax server takes it away). What the chunks of one
// event bring is gathered and written at once.
#pragma once

struct ClientSession;

// Adds bytes to the message, as the header does before the text.
void message_add(ClientSession *session, const char *bytes, int count);

// Handles bytes of the message text; the line with a single dot completes the message,
// hands it over and is answered. May end the session.
void message_receive(ClientSession *session, const char *bytes, int count);

// Writes what has been gathered. Called when an event ends.
void message_write_gathered(ClientSession *session);

// Records that the message cannot be stored: logs the reason and the path. The text is
// still read to its end, and answered with 451.
void message_cannot_be_stored(ClientSession *session, const char *reason);

// Closes the message file, if one is open, for a message that will not be completed, and
// forgets that it could not be stored.
void message_abandon(ClientSession *session);
