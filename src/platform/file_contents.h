// Whole files that are looked at again and again: settings, users, domains, lists.
//
// A file is read only when it may have changed. It is looked at (one look at its
// directory entry) at the first use within each event; an unchanged entry is
// trusted only when it is older than the clock's grain was when the file was
// read, so no change is ever missed, on a network share either.
#pragma once

#include <cstddef>
#include <cstdint>

struct FileContents {
    const char *bytes; // NUL-terminated; valid until the next call for this path
    size_t size;       // bytes before that NUL
    uint64_t version;  // another number whenever the bytes are others; never 0
    bool missing;      // there is certainly no entry of that name; never with bytes
};

// The file as it is now. No bytes (null) when it is missing, not a plain file, or
// not for this user; its version then is another than that of any content. While it
// cannot be read for another reason (no descriptor, no memory, a disk or share that does
// not answer) it counts as it was.
FileContents file_contents(const char *path);

// The next use of every file looks at the directory entry again. Called when an
// event begins and after this process has written such a file.
void file_contents_invalidate();
