// The form in which dialogs, menus and pictures are handed to the platform.
#pragma once

#include <span>

enum ControlKind {
    CONTROL_BUTTON,
    CONTROL_TEXT,
    CONTROL_EDIT,
    CONTROL_LIST,
    CONTROL_PICTURE,
};

// Styles of controls and dialogs.
inline constexpr unsigned STYLE_SUNKEN = 1;
inline constexpr unsigned STYLE_CENTRED = 2; // text, or picture in its box
inline constexpr unsigned STYLE_CENTRED_VERTICALLY = 4;
inline constexpr unsigned STYLE_BORDER = 8;
inline constexpr unsigned STYLE_READ_ONLY = 16;
inline constexpr unsigned STYLE_DIGITS_ONLY = 32;
inline constexpr unsigned STYLE_OWNER_DRAWN = 64;
inline constexpr unsigned STYLE_HIDDEN = 128;
inline constexpr unsigned STYLE_DEFAULT = 256; // the Enter key's button
inline constexpr unsigned STYLE_VISIBLE = 512; // dialogs

inline constexpr int NO_ID = -1;

// Positions and sizes are in dialog units: a quarter of the font's average character
// width, an eighth of its height.
struct ControlTemplate {
    int id;
    ControlKind kind;
    int x, y, width, height;
    const char *text; // pictures and lists: for those who cannot see them
    int picture;      // pictures: resource id
    unsigned style;
};

struct MenuItemTemplate {
    int id;
    const char *text;
};

struct MenuTemplate {
    const char *text; // of the menu bar entry
    int id;           // the bar entry's own command, 0 when it opens `items`
    std::span<const MenuItemTemplate> items;
};

struct DialogTemplate {
    int id;
    const char *caption;
    int width, height;
    unsigned style;
    int icon; // resource id, 0 for none
    std::span<const MenuTemplate> menu_bar;
    std::span<const ControlTemplate> controls;
};
