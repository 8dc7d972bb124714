// The threads that wait for the disk, below the seam: one that takes whatever has been
// handed over, and a few that help it wait.
#pragma once

struct StoreJob;

// Gives the record to the threads, which are started by the first one. False when there
// is none to be had.
bool disk_threads_take(StoreJob *message);

// Takes all that are ready, a list in the order in which they were; null when none is.
StoreJob *disk_threads_ready();

// Readable while some are ready; -1 when no descriptor could be had.
int disk_threads_descriptor();
