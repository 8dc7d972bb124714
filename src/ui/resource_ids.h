// Ids of dialogs, controls, menu items, icons and pictures.
#pragma once

inline constexpr int DIALOG_STATUS = 109;
inline constexpr int DIALOG_ABOUT = 123;
inline constexpr int DIALOG_CONFIGURATION = 129;

inline constexpr int ICON_STATUS = 107;
inline constexpr int ICON_TRAY = 132;

inline constexpr int PICTURE_SHUTDOWN = 121;
inline constexpr int PICTURE_WAITING = 133;
inline constexpr int PICTURE_ACTIVE = 134;
inline constexpr int PICTURE_SIDE_BANNER = 135;
inline constexpr int PICTURE_TOP_BANNER = 364;

inline constexpr int CONTROL_SHUTDOWN = 1003;
inline constexpr int CONTROL_HIDE = 1005;
inline constexpr int CONTROL_VERSION_LINE = 1009;
inline constexpr int CONTROL_DESCRIPTION = 1010;
inline constexpr int CONTROL_NOTE = 1013;
inline constexpr int CONTROL_WAITING_LIGHT = 1014;
inline constexpr int CONTROL_ACTIVE_LIGHT = 1015;
inline constexpr int CONTROL_CLOCK = 1016;
inline constexpr int CONTROL_PORT = 1147;

inline constexpr int MENU_CLOSE_DOWN = 40004;
inline constexpr int MENU_CONFIGURATION = 40005;
inline constexpr int MENU_ON_TOP = 40006;
inline constexpr int MENU_VIEW_LOG = 40007;
inline constexpr int MENU_CLEAR_LIST = 40008;
inline constexpr int MENU_LOG_ONLY = 40009;
inline constexpr int MENU_ABOUT = 40010;

// The items of the tray menu, which send them to the main window.
inline constexpr int TRAY_CLOSE_DOWN = 6000;
inline constexpr int TRAY_SHOW = 6001;
inline constexpr int TRAY_CLOSE_MENU = 6002;
inline constexpr int TRAY_ABOUT = 6003;
inline constexpr int TRAY_CONFIGURATION = 6004;
