// The tray icon's mouse: the window on a left click, the menu on a right one.
#pragma once

#include "platform/windows.h"

extern const std::span<const MenuItemTemplate> tray_menu;

// `mouse` is the message that the icon reported; others than presses are ignored.
void tray_icon_event(Window *main_window, Param identifier, Param mouse);

// Destroys the popup menu if it is open.
void tray_menu_close();
