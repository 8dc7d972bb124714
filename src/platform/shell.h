// Services of the desktop around the program.
#pragma once

#include "platform/resources.h"

struct Window;

enum TrayOperation { TRAY_ADD = 0, TRAY_CHANGE = 1, TRAY_REMOVE = 2 };

// The mouse message that the icon reports in the callback's second parameter.
inline constexpr int TRAY_LEFT_PRESSED = 513;
inline constexpr int TRAY_RIGHT_PRESSED = 516;

inline constexpr int TIP_SIZE = 64; // bytes with the NUL

struct TrayIcon {
    Window *window; // gets the callback
    int identifier;
    unsigned callback; // message; first parameter the identifier
    int icon;          // resource id
    char tip[TIP_SIZE];
    // Kept by the platform, for desktops that draw the icon's menu themselves: the item
    // chosen is posted to `window` as a command. Others report a right press.
    std::span<const MenuItemTemplate> menu;
};

// Adds, changes or removes the notification-area icon. False when that failed, also
// where the desktop has no such area.
bool tray_icon(TrayOperation operation, const TrayIcon &icon);

// Opens a file with its associated program. False when the shell cannot.
bool shell_open(const char *path, const char *start_directory);
