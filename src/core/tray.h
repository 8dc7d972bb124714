// The one icon in the notification area.
#pragma once

#include "platform/shell.h"

// The icon's message to its window.
inline constexpr unsigned TRAY_CALLBACK = 2021;

inline constexpr char TIP_START[] = "Quillon email-to-fax SMTP mail server - waiting";
inline constexpr char TIP_ACTIVE[] = "Quillon email-to-fax SMTP mail server - active";
inline constexpr char TIP_WAITING[] = "Quillon email-to-fax SMTP server - waiting";

// Adds, changes or removes the icon; the tip is cut to 63 characters. The platform's
// success flag.
bool set_tray_icon(Window *window, TrayOperation operation, const char *tip);
