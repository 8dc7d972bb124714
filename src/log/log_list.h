// The log list of the status window.
#pragma once

#include "platform/weight.h"

struct Window;

// The list, or null while there is no status window.
Window *log_list();

// Appends the text up to its first CR or LF, cutting it there, and keeps the newest
// entry in sight. The list holds at most 501 entries.
void log_list_add(Window *list, char *text, Weight weight);
