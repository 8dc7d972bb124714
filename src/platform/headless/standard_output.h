// The log list's entries on standard output, and message boxes on standard error.
//
// Lines are gathered while events are handled. Nobody who fails to read them holds the
// server up: what a pipe does not take waits in memory, and beyond a bound the oldest
// lines waiting are left out (they are in the log file).
//
// Where they go into the journal, each line begins with its priority and has lost its
// time stamp, because the journal has the time already.
#pragma once

#include "platform/weight.h"

// Adds one line; control characters are shown as \x1b, so that none reaches a terminal.
void standard_output_line(const char *text, Weight weight);

// Writes what can be written without waiting. False while something is left.
bool standard_output_write();

// Writes the rest, waiting for a slow reader at most two seconds.
void standard_output_finish();

// Writes what a message box would show; the caption may be null. One line in the journal.
void standard_error_box(const char *caption, const char *text);
