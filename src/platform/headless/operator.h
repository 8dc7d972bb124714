// Who stands in for a person at the headless display, so that the window procedures can
// be driven without a screen. Nobody does in the headless program.
#pragma once

struct HeadlessOperator {
    // The button pressed; BOX_NOT_SHOWN as if the box could not be shown.
    int (*message_box)(const char *text, const char *caption, unsigned style);
    bool icon_is_there; // in the notification area
};

extern HeadlessOperator headless_operator;
