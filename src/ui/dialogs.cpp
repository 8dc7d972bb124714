#include "ui/dialogs.h"

#include "base/gateway.h"
#include "base/settings.h"
#include "base/text.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"

namespace
{

constexpr int VALUE_SIZE = 128;
constexpr int DESCRIPTION_SIZE = 512;

constexpr char ONE_ADDRESS_TEXT[] =
    "This SMTP server is configured to allow connections on the INTERNAL IP address of "
    "[%s] only\r\n\r\n"
    "If you wish to change this to allow the server to connect on all available "
    "addresses you can do so from the Quillon server's SMTP configuration option.";

constexpr char ALL_ADDRESSES_TEXT[] =
    "This SMTP server is configured to allow connections on ALL IP addresses\r\n\r\n"
    "If you wish to change this to allow the server to connect on the internal address "
    "only you can do so from the Quillon server's SMTP configuration option.";

void centre_on_screen(Window *window)
{
    const Rect place = window_rect(window);
    window_move(window, screen_width() / 2 - (place.right - place.left) / 2,
                screen_height() / 2 - (place.bottom - place.top) / 2);
}

void set_item_text(Window *window, int id, const char *text)
{
    window_set_text(dialog_item(window, id), text);
}

void fill_about_dialog(Window *window)
{
    char version[VALUE_SIZE];
    format_text(version, sizeof version, "Quillon email-to-fax SMTP mail server v%s",
                PROGRAM_VERSION);
    set_item_text(window, CONTROL_VERSION_LINE, version);
    set_item_text(window, CONTROL_DESCRIPTION, gateway.status_text);
}

void fill_configuration_dialog(Window *window)
{
    char port[VALUE_SIZE];
    read_setting_text(SETTING_PORT, port, sizeof port);
    set_item_text(window, CONTROL_PORT, port);

    // Exactly 1 counts as one address here, any other value as all of them, although the
    // listener takes every value but 0 for one address.
    char bind[VALUE_SIZE];
    read_setting_text(SETTING_BIND, bind, sizeof bind);
    char description[DESCRIPTION_SIZE];
    if (text_to_number(bind) == 1) {
        format_text(description, sizeof description, ONE_ADDRESS_TEXT,
                    gateway.selected_address);
    } else {
        copy_text(description, sizeof description, ALL_ADDRESSES_TEXT);
    }
    set_item_text(window, CONTROL_DESCRIPTION, description);
}

} // namespace

void run_about_dialog()
{
    dialog_run(about_dialog, nullptr, about_dialog_proc);
}

void run_configuration_dialog()
{
    dialog_run(configuration_dialog, nullptr, config_dialog_proc);
}

Param about_dialog_proc(Window *window, unsigned message, Param first, Param)
{
    switch (message) {
    case MESSAGE_INIT_DIALOG:
        centre_on_screen(window);
        fill_about_dialog(window);
        return 1;
    case MESSAGE_COMMAND:
        // Escape and the close box leave it open.
        if (first != COMMAND_OK) {
            return 0;
        }
        dialog_end(window, 1);
        return 1;
    default:
        return 0;
    }
}

Param config_dialog_proc(Window *window, unsigned message, Param first, Param)
{
    switch (message) {
    case MESSAGE_INIT_DIALOG:
        centre_on_screen(window);
        fill_configuration_dialog(window);
        return 1;
    case MESSAGE_COMMAND:
        if (first != COMMAND_OK && first != COMMAND_CANCEL) {
            return 0;
        }
        dialog_end(window, 1);
        return 1;
    default:
        return 0;
    }
}
