// The status window: the log list, the clock, the lights, the shutdown button and the
// menu of operator commands.
#pragma once

#include "platform/windows.h"

// 1 from a restore until the window is hidden; the clock and the lights are kept up to
// date only then.
extern int status_window_shown;

Param status_dialog_proc(Window *window, unsigned message, Param first, Param second);

// Shows which of the two lights applies, while the window is shown.
void show_activity_lights();

// Puts the present time into the clock field.
void update_clock_text(Window *window);

// Gives the two toggles of the Options menu (position 1 in the menu bar) the names of the
// states they switch to. 0.
Param update_options_menu(Menu *menu, Param position);
