#include "core/main_window.h"

#include "base/gateway.h"
#include "core/shutdown.h"
#include "core/timer.h"
#include "core/tray.h"
#include "log/activity_log.h"
#include "ui/confirmation.h"
#include "ui/dialogs.h"
#include "ui/resource_ids.h"
#include "ui/tray_menu.h"

namespace
{

constexpr Param COMMAND_TASK_END = 1025;

constexpr char CLOSE_DOWN_CAPTION[] = "Brevant Tessaro SMTP server";
constexpr char CLOSE_DOWN_QUESTION[] =
    "If you close the SMTP server down, Quillon will not be able to accept mail\r\n"
    "from your network users. \r\n\r\n"
    "Are you sure you want to continue and close the server down ?";

Param close_down_with_confirmation(Window *window)
{
    const bool agreed = operator_agrees(window, CLOSE_DOWN_QUESTION, CLOSE_DOWN_CAPTION);
    // Whatever the answer, the server may have been closed down while the box was open.
    if (!agreed || gateway.mainWindow != window) {
        return 0;
    }
    stop_serving();
    window_destroy(window); // and the status window, which it owns
    return 1;
}

Param close_down_at_once(Window *window)
{
    stop_serving();
    set_tray_icon(window, TRAY_REMOVE, "");
    window_destroy(gateway.statusWindow);
    window_destroy(window);
    return 1;
}

Param command(Window *window, Param id)
{
    switch (id) {
    case TRAY_CLOSE_DOWN:
    case COMMAND_CANCEL:
    case COMMAND_TASK_END:
        return close_down_with_confirmation(window);
    case TRAY_SHOW:
        window_show(gateway.statusWindow, true);
        return 1;
    case TRAY_CLOSE_MENU:
        tray_menu_close();
        return 1;
    case TRAY_ABOUT:
        run_about_dialog();
        return 1;
    case TRAY_CONFIGURATION:
        run_configuration_dialog();
        return 0;
    default:
        return 0;
    }
}

Param handle_message(Window *window, unsigned message, Param first, Param second)
{
    switch (message) {
    case MESSAGE_DESTROY:
        set_tray_icon(window, TRAY_REMOVE, "");
        gateway.mainWindow = nullptr;
        post_quit_message(0);
        return 1;
    case MESSAGE_CLOSE:
        return close_down_at_once(window);
    case MESSAGE_COMMAND:
        return command(window, first);
    case MESSAGE_TIMER:
        timer_tick(static_cast<int>(first));
        return default_window_procedure(window, message, first, second);
    case TRAY_CALLBACK:
        tray_icon_event(window, first, second);
        return 1;
    default:
        return default_window_procedure(window, message, first, second);
    }
}

} // namespace

Param main_window_proc(Window *window, unsigned message, Param first, Param second)
{
    const Param result = handle_message(window, message, first, second);
    log_flush();
    return result;
}
