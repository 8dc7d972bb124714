// The files of one mail transaction, which share one base name in a spool directory:
//
//   state       envelope (.env)   body (.tmp)   message (.txt)   names     answered with
//   none        -                 -             -                empty
//   envelope    yes               -             -                set
//   receiving   yes               yes, open     -                set
//   delivered   yes               -             yes              empty     250
//   not stored  -                 -             -                empty     451
//   kept        yes               yes           -                empty     451
//   unsure      yes               -             yes              empty     451
//   refused     -                 -             -                set       550, the close
//
// The appearance of the .txt is the hand-over: from then on both files belong to the fax
// server. A session that ends before it takes its files with it. A 451 means that the
// client has to send the message again: nothing of it is left, or it is kept for the
// operator because its body could not be renamed, or the fax server may have it although
// the disk did not confirm its name.
//
// Failures are logged here with the reason and reported; what the client is told is the
// command's.
#pragma once

#include "platform/files.h"

#include <initializer_list>

struct ClientSession;
struct MailTransaction;

// Where a transaction's files are created: by MAIL FROM, and by a RCPT TO without one
// from a local sender or another.
inline constexpr char SPOOL_MAIL[] = "qlnemails";
inline constexpr char SPOOL_PENDING[] = "pending";
inline constexpr char SPOOL_MAIL_IN[] = "mailin";

inline constexpr const char *SPOOL_DIRECTORIES[] = {SPOOL_MAIL, SPOOL_PENDING,
                                                    SPOOL_MAIL_IN};

// Whether the paths of files in the directory have at most 259 characters, so that it can
// be used.
bool spool_names_fit(const char *directory);

// Creates the envelope file under a new name in the directory, sets the transaction's
// four names and gives the file, open and empty. NO_FILE, with nothing set, on failure.
FileHandle spool_files_create(MailTransaction &mail, const char *directory);

// Opens the transaction's envelope with FILE_APPEND, or a new one in its place with
// FILE_EXACT. NO_FILE on failure.
FileHandle envelope_open(const ClientSession *session, FileMode mode);

// Writes one line to the open envelope and closes it. False on failure; what was written
// of the line is taken back then.
bool envelope_write(const ClientSession *session, FileHandle envelope, const char *line,
                    int length);

// Deletes those of a transaction's files that exist, in the order given, and tells the
// path of each.
void spool_files_remove(std::initializer_list<const char *> paths,
                        void (*tell)(const char *path) = nullptr);
