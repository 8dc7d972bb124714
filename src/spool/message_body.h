// The body of the message that a session sends: the file that is written until the end
// line comes.
//
// What the chunks of one event bring is gathered in one buffer, which all sessions share,
// and is written when the event ends: the buffer is one session's at a time and empty
// between events.
#pragma once

#include "platform/files.h"

struct ClientSession;

// Creates the file, in place of one that was begun before. When that fails it is logged,
// and the text is read without being stored.
void body_begin(ClientSession *session);

// Adds bytes. Or a line without its LF, stored with CR LF whether or not it has the CR.
void body_add(ClientSession *session, const char *bytes, int count);
void body_add_line(ClientSession *session, const char *line, int length);

// Writes what has been gathered. Called before an event ends.
void body_flush(ClientSession *session);

// The end line has come: writes what has been gathered and gives the file away, still
// open. NO_FILE when the message could not be stored, which is logged.
FileHandle body_finish(ClientSession *session);

// The message cannot be stored: logs the reason and the path, and deletes the file.
void body_failed(ClientSession *session, const char *reason);

// Closes the file, if one is open, for a message that will not be finished.
void body_abandon(ClientSession *session);

// Nothing is gathered, as must be between events.
bool body_buffer_is_empty();
