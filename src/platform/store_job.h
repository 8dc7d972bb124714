// A finished message on its way to the disk.
#pragma once

#include "platform/files.h"

inline constexpr int STORE_NAME_SIZE = 264;

// How far it came.
enum StoreResult {
    STORE_DONE,        // the disk has everything
    STORE_FAILED,      // it may not have the body or the envelope; nothing was renamed
    STORE_NOT_NAMED,   // it has both, but the body keeps its temporary name
    STORE_UNCONFIRMED, // the body has its final name, but the disk may not have that
};

// From store_begin() on it is the worker's, as are the files, until it is reported; then
// it is the caller's again.
struct StoreJob {
    FileHandle body; // open and written; closed on the way
    char temporary[STORE_NAME_SIZE];
    char final[STORE_NAME_SIZE];
    char envelope[STORE_NAME_SIZE]; // in the same directory, closed

    StoreResult result;
    const char *reason; // of any other result than the first

    // The worker's.
    StoreJob *next;
    int directory, envelope_file;
    int error, envelope_error;
    bool unusual;
};
