// A cache of whole files: settings, users, domains, lists.
//
// The first use within an event looks at the file's directory entry, and the file is read
// again only when it may have changed. An unchanged entry is trusted only if its time was
// older than the clock's grain when the file was read, so that no change is missed, not
// even on a network share.
#pragma once

#include <cstddef>
#include <cstdint>

struct FileContents {
    const char *bytes; // NUL-terminated; valid until the next call for this path
    size_t size;       // bytes before that NUL
    uint64_t version;  // changes with the bytes; never 0
    bool missing;      // there is certainly no entry of that name; never with bytes
    const char *error; // why it cannot be read now, as an English text; null if it can
    bool lasting;      // the error is the file's own, not a fault that may pass
};

// The file as it is now; null bytes when it is missing. When it exists but cannot be read
// (forbidden, not a plain file, in UTF-16, a disk or share that does not answer), its
// last content; null bytes when it has none yet.
FileContents file_contents(const char *path);

// Invalidates the cache: the next use of every file looks at its directory entry. Called
// when an event begins and after this process has written such a file.
void file_contents_invalidate();
