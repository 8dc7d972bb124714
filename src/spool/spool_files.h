// The files of one mail transaction, which share one base name in a spool directory:
//
//   state       envelope (.env)   body (.tmp)   message (.txt)   `spoolBase`
//   none        -                 -             -                empty
//   envelope    yes               -             -                set
//   receiving   yes               yes, open     -                set
//   delivered   yes               -             yes              empty
//   refused     -                 -             -                set until the close
//
// The appearance of the .txt is the hand-off: from then on both files belong to the fax
// server. A session that ends in the middle takes its files with it.
#pragma once

#include "platform/files.h"

struct ClientSession;

// Where a transaction's files are created: by MAIL FROM, and by a RCPT TO without one
// from a local sender or another.
inline constexpr char SPOOL_MAIL[] = "qlnemails";
inline constexpr char SPOOL_PENDING[] = "pending";
inline constexpr char SPOOL_MAIL_IN[] = "mailin";

// Creates the envelope file under a new name in the directory, sets the session's four
// names and gives the file, open and empty. NO_FILE, logged and with nothing set, when it
// cannot be created.
FileHandle spool_files_create(ClientSession *session, const char *directory);

// Writes one line to the open envelope and closes it. When that fails it is logged, what
// was written of the line is taken back, and the client is told with a 451: false. May
// end the session then.
bool envelope_write(ClientSession *session, FileHandle envelope, const char *line,
                    int length);

// The envelope could not be opened: the same log line and reply.
void envelope_failed(ClientSession *session);

// With SYNCSPOOL, waits until the disk has the body, which is still open, and the
// envelope. False when it does not confirm that.
bool spool_sync_files(const ClientSession *session);

// With SYNCSPOOL, waits until the disk has the names of a message that was handed over.
bool spool_sync_names(const ClientSession *session);

// Gives the received body its final name in one step. False when that failed: the body
// then still has its temporary one.
bool spool_hand_off(ClientSession *session);

// Deletes a file of the transaction if it exists; whether it did.
bool spool_file_remove(const char *path);

// Deletes what exists of the transaction's files and forgets their names.
void spool_files_abandon(ClientSession *session);

// Empties the four names: the files are no longer the session's.
void spool_files_forget(ClientSession *session);
