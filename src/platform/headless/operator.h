// What stands in for a person at the headless display, so that the window procedures can
// be driven without a screen. Nobody does in the headless program.
#pragma once

struct Window;
struct Menu;

struct HeadlessOperator {
    // The button pressed; BOX_NOT_SHOWN as if the box could not be shown.
    int (*message_box)(const char *text, const char *caption, unsigned style);
    // A modal dialog has come up: posts what the person does there. False as if the
    // dialog could not be shown.
    bool (*dialog)(Window &dialog);
    // The item chosen in the popup at the cursor, 0 for none.
    int (*popup)(const Menu &menu);
    // How many items a popup can take; -1 when none can be made.
    int popup_room;
    // The tray icon's last tip, and the file last opened by the shell.
    char tip[64];
    bool icon_is_there;
    char opened[512];
};

inline constexpr int ROOM_FOR_ANY_POPUP = 1000;

extern HeadlessOperator headless_operator;
