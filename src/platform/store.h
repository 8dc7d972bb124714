// Finished messages on their way to the disk, and to their final names.
//
// One after the other: the disk has the body and the envelope; the body gets its final
// name; the disk has the names. A worker waits for all that, so that nobody else does,
// and what is handed over while it waits goes to the disk together.
#pragma once

struct StoreJob;
struct Window;

// Fixes the three names. False when they are too long.
bool store_names(StoreJob *message, const char *temporary, const char *final,
                 const char *envelope);

// Reports will go to this window: first parameter the record.
void store_reports_to(Window *window, unsigned message);

// Hands the record over; it will be reported. False when there is no worker to be had.
bool store_begin(StoreJob *message);

// The same on this thread and without a report: the result stands in the record.
void store_here(StoreJob *message);

// The same without the disk: the body is closed and gets its final name.
void store_at_once(StoreJob *message);

// The next record that would be reported; waits for it so long. Null when none is under
// way or the time is over.
StoreJob *store_wait(int milliseconds);
