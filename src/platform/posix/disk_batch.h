// Messages that go to the disk together, below the seam. Everything here may run on any
// thread: it makes system calls and touches nothing but its records.
#pragma once

struct StoreJob;

inline constexpr int LARGEST_BATCH = 256;

// Runs a task so many times with the numbers from 0 on, on whatever threads there are.
using RunTasks = void (*)(void (*task)(int number, void *context), int count,
                          void *context);

// Opens the envelope and asks for the write-back of both files, which then goes on while
// other messages are waited for.
void disk_message_begin(StoreJob *message);

// Whether it is unusual for want of descriptors.
bool disk_message_is_short(const StoreJob *message);

// Puts messages that have begun on the disk and writes down how far each came. Those that
// are unusual are as they were and marked: descriptors are short, or their directory is
// not there under this name.
void disk_batch_write(StoreJob **messages, int count, RunTasks run);
