// The program as the system starts and ends it.
#pragma once

// Prepares signals, descriptor limits and the display. Once, before anything else.
// False when the display cannot be had (its reason is on standard error).
bool program_start(int argc, char **argv);

// Writes a line to standard error.
void program_error(const char *text);

// Writes out what the display still holds and releases it.
void program_end();
