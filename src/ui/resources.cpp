#include "ui/resources.h"

#include "base/resource_ids.h"
#include "platform/windows.h"
#include "ui/resource_ids.h"

namespace
{

constexpr MenuItemTemplate FILE_ITEMS[] = {
    {MENU_CLOSE_DOWN, "Close down the SMTP server"},
};

// The two toggles get the text of the state they switch to when the menu opens.
constexpr MenuItemTemplate OPTIONS_ITEMS[] = {
    {MENU_CLEAR_LIST, "Clear listbox content (only)"},
    {MENU_LOG_ONLY, "Log server throughput only"},
    {MENU_ON_TOP, "Keep server on top"},
};

constexpr MenuItemTemplate VIEW_ITEMS[] = {
    {MENU_CONFIGURATION, "View server configuration"},
    {MENU_VIEW_LOG, "View full server activity log"},
};

constexpr MenuTemplate STATUS_MENU[] = {
    {"File", 0, FILE_ITEMS},
    {"Options", 0, OPTIONS_ITEMS},
    {"View", 0, VIEW_ITEMS},
    {"About...", MENU_ABOUT, {}},
};

constexpr ControlTemplate STATUS_CONTROLS[] = {
    {CONTROL_SHUTDOWN, CONTROL_BUTTON, 201, 155, 114, 16, "Shutdown SMTP Server", 0,
     STYLE_OWNER_DRAWN},
    {NO_ID, CONTROL_PICTURE, 0, 27, 40, 150, "", PICTURE_SIDE_BANNER,
     STYLE_SUNKEN | STYLE_CENTRED},
    {CONTROL_LOG_LIST, CONTROL_LIST, 42, 32, 273, 116, "Activity log", 0, STYLE_BORDER},
    {CONTROL_HIDE, CONTROL_BUTTON, 153, 155, 47, 16, "Cancel", 0, 0},
    {CONTROL_WAITING_LIGHT, CONTROL_PICTURE, 51, 158, 11, 9, "Waiting for a connection",
     PICTURE_WAITING, 0},
    // Hidden behind the other light until a restored window shows the one that applies.
    {CONTROL_ACTIVE_LIGHT, CONTROL_PICTURE, 52, 158, 11, 9, "Connection active",
     PICTURE_ACTIVE, STYLE_HIDDEN},
    {CONTROL_CLOCK, CONTROL_TEXT, 65, 155, 84, 15, "", 0, STYLE_CENTRED_VERTICALLY},
    {NO_ID, CONTROL_PICTURE, 0, 0, 321, 27, "", PICTURE_TOP_BANNER, STYLE_CENTRED},
};

constexpr ControlTemplate ABOUT_CONTROLS[] = {
    {COMMAND_OK, CONTROL_BUTTON, 258, 152, 50, 17, "OK", 0, STYLE_SUNKEN},
    {NO_ID, CONTROL_TEXT, 48, 71, 255, 25,
     "This Quillon SMTP Server is an Internet Standards SMTP server that is provided to "
     "allow any networked computer to send \"non HTML\" email messages to the Quillon "
     "fax server to be faxed out, directly from any email client.",
     0, 0},
    {NO_ID, CONTROL_TEXT, 48, 103, 256, 19,
     "NB - This SMTP Server cannot be used to relay mail as it will only work correctly "
     "when used with a Quillon fax server installation.",
     0, 0},
    {NO_ID, CONTROL_TEXT, 48, 124, 246, 25,
     "To configure this server,  you need to run the Quillon fax server and then select "
     "the Tools -> SMTP server menu option to access all of the available configuration "
     "options.",
     0, 0},
    {CONTROL_VERSION_LINE, CONTROL_TEXT, 53, 36, 249, 12, "", 0,
     STYLE_CENTRED | STYLE_SUNKEN},
    {CONTROL_DESCRIPTION, CONTROL_TEXT, 53, 52, 249, 12, "", 0,
     STYLE_CENTRED | STYLE_SUNKEN},
    {NO_ID, CONTROL_TEXT, 50, 156, 185, 9,
     "Copyright 2005 Brevant Tessaro. All rights reserved.", 0, 0},
    {NO_ID, CONTROL_PICTURE, 0, 27, 35, 147, "", PICTURE_SIDE_BANNER, STYLE_SUNKEN},
    {NO_ID, CONTROL_PICTURE, 0, 0, 315, 27, "", PICTURE_TOP_BANNER, STYLE_CENTRED},
};

constexpr ControlTemplate CONFIGURATION_CONTROLS[] = {
    {NO_ID, CONTROL_TEXT, 81, 35, 33, 8, "Using port ", 0, 0},
    {CONTROL_PORT, CONTROL_EDIT, 118, 33, 30, 12, "", 0,
     STYLE_READ_ONLY | STYLE_DIGITS_ONLY | STYLE_BORDER},
    {NO_ID, CONTROL_TEXT, 153, 35, 75, 8, "for SMTP connections", 0, 0},
    {CONTROL_DESCRIPTION, CONTROL_TEXT, 42, 50, 212, 51, "", 0, STYLE_CENTRED},
    {CONTROL_NOTE, CONTROL_TEXT, 44, 119, 151, 10, "", 0, STYLE_CENTRED_VERTICALLY},
    {COMMAND_CANCEL, CONTROL_BUTTON, 199, 117, 50, 14, "Close", 0, 0},
    {NO_ID, CONTROL_PICTURE, 0, 27, 35, 115, "", PICTURE_SIDE_BANNER, STYLE_SUNKEN},
    {NO_ID, CONTROL_PICTURE, 0, 0, 257, 27, "", PICTURE_TOP_BANNER, STYLE_CENTRED},
};

} // namespace

const DialogTemplate status_dialog = {
    DIALOG_STATUS,  "Quillon Email-to-Fax SMTP server", 321, 178, 0, 0, STATUS_MENU,
    STATUS_CONTROLS};

const DialogTemplate about_dialog = {
    DIALOG_ABOUT,
    "Quillon networked Fax system - Email-to-Fax SMTP Mail Server",
    316,
    174,
    STYLE_VISIBLE,
    0,
    {},
    ABOUT_CONTROLS};

const DialogTemplate configuration_dialog = {
    DIALOG_CONFIGURATION,
    "Quillon - current SMTP server configuration",
    258,
    142,
    0,
    0,
    {},
    CONFIGURATION_CONTROLS};
