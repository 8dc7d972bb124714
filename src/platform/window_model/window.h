// The window model's records, shared by the model and the displays below the seam.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/windows.h"

struct MenuItem {
    int id;
    std::string text;
};

struct MenuBarEntry {
    std::string text;
    int id; // its own command, 0 when it opens a popup
    std::unique_ptr<Menu> popup;
};

struct Menu {
    std::vector<MenuItem> items;
    void *view = nullptr; // the display's own
};

enum WindowKind { KIND_WINDOW, KIND_DIALOG, KIND_CONTROL };

struct Window {
    WindowKind kind;
    long number;
    WindowProcedure procedure = nullptr;
    std::string text; // title, caption or content
    Rect place{};     // on the screen; controls: in the dialog's client area, pixels
    bool shown = false;
    bool topmost = false;
    int icon = 0;
    Window *owner = nullptr; // or parent: destroying it destroys this one

    // dialogs
    const DialogTemplate *dialog = nullptr;
    std::vector<std::unique_ptr<Window>> controls;
    std::vector<MenuBarEntry> menu_bar;
    bool modal = false;
    bool ended = false; // dialog_end was called
    int result = 0;

    // controls
    int id = NO_ID;
    const ControlTemplate *control = nullptr;

    // list boxes: a ring of entries in the order appended; their memory is used again
    std::vector<std::string> entries;
    size_t first_entry = 0, entry_count = 0;
    int top_entry = 0;
    int extent = 0;

    void *view = nullptr; // the display's own
};
