#include "ui/tray_menu.h"

#include "base/gateway.h"
#include "platform/shell.h"
#include "ui/resource_ids.h"

namespace
{

constexpr MenuItemTemplate ITEMS[] = {
    {TRAY_CONFIGURATION, "View current configuration..."},
    {TRAY_ABOUT, "About the Quillon SMTP server..."},
    {TRAY_CLOSE_MENU, "Close Menu"},
    {TRAY_SHOW, "Show SMTP server"},
    {TRAY_CLOSE_DOWN, "Close SMTP server down"},
};

Menu *open_menu; // null while none is open

void show_menu(Window *main_window)
{
    // The messages served while the menu is open may bring another right press.
    if (open_menu != nullptr) {
        return;
    }
    open_menu = popup_create();
    for (const MenuItemTemplate &item : ITEMS) {
        popup_append(open_menu, item.id, item.text);
    }
    window_to_front(main_window);
    popup_track(open_menu, main_window);

    // The server may have been closed down while the menu was open.
    if (gateway.mainWindow == main_window) {
        post_message(main_window, MESSAGE_EMPTY, 0, 0);
    }
    tray_menu_close();
}

void show_status_window()
{
    Window *window = gateway.statusWindow;
    window_show(window, true);
    window_to_front(window);
    send_message(window, MESSAGE_SYSTEM_COMMAND, SYSTEM_RESTORE, 0);
}

} // namespace

const std::span<const MenuItemTemplate> tray_menu = ITEMS;

void tray_icon_event(Window *main_window, Param, Param mouse)
{
    if (mouse == TRAY_LEFT_PRESSED && gateway.statusWindow != nullptr) {
        show_status_window();
    } else if (mouse == TRAY_RIGHT_PRESSED) {
        show_menu(main_window);
    }
}

void tray_menu_close()
{
    Menu *menu = open_menu;
    open_menu = nullptr;
    if (menu != nullptr) {
        popup_destroy(menu);
    }
}
