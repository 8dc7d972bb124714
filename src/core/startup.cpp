#include "core/startup.h"

#include "admission/accepted_addresses.h"
#include "base/gateway.h"
#include "base/settings.h"
#include "base/text.h"
#include "core/listener.h"
#include "core/main_window.h"
#include "core/tray.h"
#include "log/activity_log.h"
#include "platform/program.h"
#include "platform/service.h"
#include "spool/leftovers.h"
#include "spool/spool_files.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"

namespace
{

constexpr char MAIN_WINDOW_CLASS[] = "QLNSMTPSERVER";
constexpr int LOCK_PATIENCE = 2000; // milliseconds
constexpr int TIMER_PERIOD = 1000;  // milliseconds
constexpr int PORT_TEXT_SIZE = 256;

void read_start_settings()
{
    gateway.inactivity_timeout = read_setting(SETTING_SMTPTIMEOUT);
    gateway.socket_timeout = read_setting(SETTING_SOCKETTIMEOUT);

    char port[PORT_TEXT_SIZE];
    read_setting_text(SETTING_PORT, port, sizeof port);
    gateway.listen_port = text_to_number(port);
    gateway.shown_port = gateway.listen_port;
}

bool create_main_window()
{
    if (!class_register({MAIN_WINDOW_CLASS, main_window_proc, ICON_TRAY})) {
        message_box(nullptr, "Cannot register main window class", nullptr, 0);
        return false;
    }
    const int width = screen_width() / 4;
    const int height = screen_height() / 4;
    gateway.mainWindow =
        window_create(MAIN_WINDOW_CLASS, "Quillon email-to-fax SMTP Server",
                      {width, height, width + width, height + height}, nullptr);
    if (gateway.mainWindow == nullptr) {
        message_box(nullptr, "Cannot create main window", nullptr, 0);
        return false;
    }
    return true;
}

void read_chosen_address()
{
    read_setting_text(SETTING_IPADDR, gateway.selected_address, ADDRESS_TEXT_SIZE);
    if (read_setting(SETTING_USESAMEIPADDRESS) != 0) {
        write_setting(SETTING_IPADDR, gateway.selected_address);
    }
}

void start_timer()
{
    if (gateway.inactivity_timeout == 0 && gateway.socket_timeout == 0) {
        return;
    }
    gateway.timer = timer_start(gateway.mainWindow, TIMER_PERIOD);
    if (gateway.timer == 0) {
        log_stamped(WEIGHT_FAILURE, "SMTP: Could not get timer - no inactivity timeout");
        return;
    }
    if (gateway.inactivity_timeout != 0) {
        log_stamped("SMTP: Inactivity timeout set to %d seconds",
                    gateway.inactivity_timeout);
    }
    if (gateway.socket_timeout != 0) {
        log_stamped("SMTP: Socket timeout set to %d seconds", gateway.socket_timeout);
    }
}

// Without its settings the server would let in whom it must refuse.
void tell_settings_error(const char *error)
{
    char text[128];
    format_text(text, sizeof text, "The settings file cannot be read: %s", error);
    service_has_failed(text, 0);
    message_box(nullptr, text, "Quillon Email-to-Fax SMTP gateway", BOX_EXCLAMATION);
}

void tell_long_paths()
{
    for (const char *directory : SPOOL_DIRECTORIES) {
        if (!spool_names_fit(directory)) {
            char text[128];
            format_text(text, sizeof text,
                        "The installation directory's path is too long for files in [%s]",
                        directory);
            log_stamped(WEIGHT_FAILURE, "SMTP: %s", text);
            program_error(text);
        }
    }
}

bool start()
{
    cursor_show_waiting(true);
    gateway.active_count = 0;
    gateway.listener = NO_SOCKET;

    settings_locate();
    settings_flush();
    if (const char *error = settings_error()) {
        tell_settings_error(error);
        return false;
    }
    settings_wait(LOCK_PATIENCE);
    write_setting(SETTING_VERSION, PROGRAM_VERSION);
    write_setting(SETTING_BUILDDATE, PROGRAM_BUILD_DATE);
    read_start_settings();

    if (!create_main_window()) {
        return false;
    }
    set_tray_icon(gateway.mainWindow, TRAY_ADD, TIP_START);
    gateway.statusWindow =
        dialog_create(status_dialog, gateway.mainWindow, status_dialog_proc);
    write_setting_number(SETTING_HWND, window_number(gateway.statusWindow));

    read_chosen_address();
    settings_wait(0);
    if (start_listener(gateway.selected_address) != 0) {
        window_destroy(gateway.mainWindow);
        return false;
    }
    log_stamped("SMTP: Quillon email-to-fax SMTP mail server v%s...", PROGRAM_VERSION);
    log_line("%s SMTP: Waiting for connection on port %d...", log_stamp,
             gateway.listen_port);
    start_timer();
    tell_long_paths();
    log_leftovers();
    log_flush();
    close_requests_go_to(gateway.mainWindow);
    service_is_ready(gateway.status_text);
    cursor_show_waiting(false);
    return true;
}

int serve()
{
    Message message;
    while (next_message(&message)) {
        dispatch_message(message);
    }
    return static_cast<int>(message.first);
}

} // namespace

int run_server()
{
    if (!start()) {
        log_flush();
        return 1;
    }
    const int code = serve();
    accepted_addresses_free();
    set_tray_icon(nullptr, TRAY_REMOVE, "");
    log_flush();
    return code;
}
