// The log list's entries on standard output, and message boxes on standard error.
//
// Lines are buffered while events are handled and flushed before the next wait. A reader
// that is slow holds nobody up: what a pipe does not take stays in the buffer, and when
// that is full, the oldest lines are dropped (they are in the log file).
//
// Where they go into the journal, each line begins with its priority and has lost its
// time stamp, because the journal has the time already.
#pragma once

#include "platform/weight.h"

// Adds one line; what a terminal would act upon is shown as digits (shown_text.h).
void standard_output_line(const char *text, Weight weight);

// Flushes what can be written without waiting. False while something is left.
bool standard_output_write();

// Flushes the rest, waiting for a slow reader at most two seconds.
void standard_output_finish();

// Writes what a message box would show; the caption may be null. One line in the journal.
void standard_error_box(const char *caption, const char *text);
