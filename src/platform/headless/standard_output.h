// The log list's entries on standard output.
//
// Lines are gathered while events are handled. Nobody who fails to read them holds the
// server up: what a pipe does not take waits in memory, and beyond a bound the oldest
// lines waiting are left out (they are in the log file).
#pragma once

// Adds one line; control characters are shown as \x1b, so that none reaches a terminal.
void standard_output_line(const char *text);

// Writes what can be written without waiting. False while something is left.
bool standard_output_write();

// Writes the rest, waiting for a slow reader at most two seconds.
void standard_output_finish();
