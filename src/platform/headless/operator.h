// Who stands in for a person at the headless display, so that the window procedures can
// be driven without a screen. Nobody does in the headless program.
#pragma once

struct Window;
struct Menu;

struct HeadlessOperator {
    // The button pressed; BOX_NOT_SHOWN as if the box could not be shown.
    int (*message_box)(const char *text, const char *caption, unsigned style);
    // A modal dialog has come up, and is gone when this returns; null as if it could not
    // be shown.
    void (*dialog)(Window &dialog);
    // The item chosen in the popup at the cursor, 0 for none.
    int (*popup)(const Menu &menu);
    bool icon_is_there; // in the notification area
};

extern HeadlessOperator headless_operator;
