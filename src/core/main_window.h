// The hidden main window: timer, tray icon, tray commands and close-down.
#pragma once

#include "platform/windows.h"

inline constexpr unsigned TRAY_CALLBACK = 2021;

inline constexpr int TRAY_CLOSE_DOWN = 6000;
inline constexpr int TRAY_SHOW = 6001;
inline constexpr int TRAY_CLOSE_MENU = 6002;
inline constexpr int TRAY_ABOUT = 6003;
inline constexpr int TRAY_CONFIGURATION = 6004;

Param main_window_proc(Window *window, unsigned message, Param first, Param second);
