// The hidden main window: timer, tray icon, tray commands and close-down.
#pragma once

#include "platform/windows.h"

Param main_window_proc(Window *window, unsigned message, Param first, Param second);
