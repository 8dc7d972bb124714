#include "ui/status_window.h"

#include "base/gateway.h"
#include "base/paths.h"
#include "base/resource_ids.h"
#include "base/settings.h"
#include "base/text.h"
#include "core/shutdown.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "ui/confirmation.h"
#include "ui/dialogs.h"
#include "ui/drawing.h"
#include "ui/resource_ids.h"

int status_window_shown;

namespace
{

constexpr Param OPTIONS_POSITION = 1;

constexpr char CLOSE_DOWN_CAPTION[] = "Quillon SMTP server";
constexpr char CLOSE_DOWN_QUESTION[] =
    "If you close the SMTP server down, Quillon will not be able to\r\n"
    "accept mail from your network users,\r\n\r\n"
    "Are you sure you want to continue and close the server down ?";

constexpr char SHUTDOWN_TEXT[] = "  Shutdown SMTP Server";
constexpr int SHUTDOWN_TEXT_LENGTH = 22;

// --- Place, order and lights

bool is_set(Setting setting)
{
    char text[2];
    read_setting_text_or(setting, "", text, sizeof text);
    return text[0] != '\0';
}

// One default for both edges, taken from the widths of screen and window. It knows
// nothing of the screen's height, so the window is then held inside the screen; a place
// that the operator chose is taken as it is.
void move_to_saved_place(Window *window)
{
    const Rect place = window_rect(window);
    const int missing = screen_width() / 3 * 2 - (place.right - place.left) / 2;
    const int top = read_setting_or(SETTING_TOP, missing);
    const int left = read_setting_or(SETTING_LEFT, missing);
    if (is_set(SETTING_TOP) && is_set(SETTING_LEFT)) {
        window_move(window, left, top);
    } else {
        window_move_inside(window, left, top);
    }
}

void save_place(const Window *window)
{
    const Rect place = window_rect(window);
    write_setting_number(SETTING_TOP, place.top);
    write_setting_number(SETTING_LEFT, place.left);
}

bool kept_on_top()
{
    return read_setting(SETTING_ONTOP) != 0;
}

void show_light(Window *window, int shown, int hidden)
{
    window_show(dialog_item(window, hidden), false);
    window_show(dialog_item(window, shown), true);
}

void create(Window *window)
{
    move_to_saved_place(window);
    window_set_topmost(window, kept_on_top());
    window_set_icon(window, ICON_STATUS);
}

void hide(Window *window)
{
    save_place(window);
    window_show(window, false);
    status_window_shown = 0;
}

void restore(Window *window)
{
    window_show(window, true);
    move_to_saved_place(window);
    const bool on_top = kept_on_top();
    window_set_topmost(window, on_top);
    if (!on_top) {
        window_to_front(window);
    }
    show_light(window, CONTROL_WAITING_LIGHT, CONTROL_ACTIVE_LIGHT);
    status_window_shown = 1;
}

// --- Commands

void toggle_on_top(Window *window)
{
    const bool on_top = !kept_on_top();
    write_setting(SETTING_ONTOP, on_top ? "1" : "0");
    window_set_topmost(window, on_top);
}

void open_log()
{
    char directory[PATH_SIZE];
    working_directory(directory, sizeof directory);
    char path[PATH_SIZE];
    log_path(path, sizeof path);
    shell_open(path, directory);
}

// Each message is logged while the list is on, so that it is the last or first there.
void toggle_log_only()
{
    if (read_setting(SETTING_LOGONLY) != 0) {
        write_setting(SETTING_LOGONLY, "0");
        log_stamped("SMTP: Server throughput listing has been resumed");
    } else {
        log_stamped("SMTP: Server throughput has been disabled (log only)");
        write_setting(SETTING_LOGONLY, "1");
    }
}

// A top-most status window would cover the dialog, which it does not own. The server may
// be closed down while the dialog is open.
void show_dialog(Window *window, void (*run_dialog)())
{
    if (kept_on_top()) {
        window_set_topmost(window, false);
    }
    run_dialog();
    if (gateway.statusWindow == window && kept_on_top()) {
        window_set_topmost(window, true);
    }
}

void close_server_down(Window *window)
{
    const bool agreed = operator_agrees(window, CLOSE_DOWN_QUESTION, CLOSE_DOWN_CAPTION);
    // Whatever the answer, the server may have been closed down while the box was open.
    if (!agreed || gateway.statusWindow != window) {
        return;
    }

    stop_serving();
    save_place(window);
    write_setting(SETTING_HWND, "");
    window_destroy(window);
    window_destroy(gateway.mainWindow);
}

Param command(Window *window, Param id)
{
    switch (id) { // a command with a notification code has another value
    case MENU_ON_TOP:
        toggle_on_top(window);
        return 1;
    case MENU_VIEW_LOG:
        open_log();
        return 1;
    case MENU_CLEAR_LIST:
        list_clear(dialog_item(window, CONTROL_LOG_LIST));
        return 1;
    case MENU_LOG_ONLY:
        toggle_log_only();
        return 1;
    case MENU_ABOUT:
        show_dialog(window, run_about_dialog);
        return 1;
    case MENU_CONFIGURATION:
        show_dialog(window, run_configuration_dialog);
        return 1;
    case CONTROL_HIDE:
    case COMMAND_CANCEL:
        send_message(window, MESSAGE_SYSTEM_COMMAND, SYSTEM_MINIMIZE, 0);
        return 1;
    case MENU_CLOSE_DOWN:
    case CONTROL_SHUTDOWN:
    case COMMAND_OK:
        close_server_down(window);
        return 1;
    default:
        return 0;
    }
}

Param system_command(Window *window, Param system_command)
{
    switch (system_command) {
    case SYSTEM_MINIMIZE:
        hide(window);
        return 1;
    case SYSTEM_RESTORE:
        restore(window);
        return 1;
    default:
        return 0;
    }
}

// --- Drawing

// The lights share one frame, around the first of them.
void paint_light_frame(Window *window, DeviceContext *given)
{
    DeviceContext *context = given != nullptr ? given : window_context(window);
    if (context == nullptr) {
        return;
    }
    frame_control(context, dialog_item(window, CONTROL_WAITING_LIGHT));
    if (given == nullptr) {
        context_release(context);
    }
}

void draw_shutdown_button(const DrawItem &item)
{
    const Rect &rect = item.rect;
    draw_push_button(item.context, rect, false);
    const int picture_width =
        draw_picture(item.context, rect.left + 5, rect.top + 5, PICTURE_SHUTDOWN);
    draw_text(item.context, rect.left + picture_width + 5,
              (rect.bottom - rect.top) / 2 - 8, SHUTDOWN_TEXT, SHUTDOWN_TEXT_LENGTH);
}

Param handle_message(Window *window, unsigned message, Param first, Param second)
{
    switch (message) {
    case MESSAGE_INIT_DIALOG:
        create(window);
        return 1;
    case MESSAGE_COMMAND:
        return command(window, first);
    case MESSAGE_INIT_MENU_POPUP:
        return update_options_menu(reinterpret_cast<Menu *>(first), second);
    case MESSAGE_SYSTEM_COMMAND:
        return system_command(window, first);
    case MESSAGE_PAINT:
        paint_light_frame(window, reinterpret_cast<DeviceContext *>(first));
        return 0;
    case MESSAGE_DRAW_ITEM:
        if (first == CONTROL_SHUTDOWN) {
            draw_shutdown_button(*reinterpret_cast<const DrawItem *>(second));
        }
        return 1;
    case MESSAGE_DESTROY:
        gateway.statusWindow = nullptr;
        return 0;
    default:
        return 0;
    }
}

} // namespace

Param status_dialog_proc(Window *window, unsigned message, Param first, Param second)
{
    const Param result = handle_message(window, message, first, second);
    log_flush();
    return result;
}

void show_activity_lights()
{
    if (status_window_shown != 1 || gateway.statusWindow == nullptr) {
        return;
    }
    if (gateway.connection_indicator) {
        show_light(gateway.statusWindow, CONTROL_ACTIVE_LIGHT, CONTROL_WAITING_LIGHT);
    } else {
        show_light(gateway.statusWindow, CONTROL_WAITING_LIGHT, CONTROL_ACTIVE_LIGHT);
    }
}

void update_clock_text(Window *window)
{
    const LocalTime &now = local_time();
    char text[64];
    format_text(text, sizeof text, "%02d:%02d:%02d - %s %d, %d", now.hour, now.minute,
                now.second, MONTH_NAMES[now.month], now.day, now.year);
    window_set_text(dialog_item(window, CONTROL_CLOCK), text);
}

Param update_options_menu(Menu *menu, Param position)
{
    if (position != OPTIONS_POSITION) {
        return 0;
    }
    menu_set_text(menu, MENU_ON_TOP,
                  kept_on_top() ? "Show server normally" : "Keep server on top");
    menu_set_text(menu, MENU_LOG_ONLY,
                  read_setting(SETTING_LOGONLY) != 0 ? "Log + show server throughput"
                                                     : "Log server throughput (only)");
    return 0;
}
