#include "core/timer.h"

#include "base/gateway.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "core/disconnect.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "spool/message_body.h"
#include "spool/spool_files.h"
#include "ui/status_window.h"

#include <cstring>

namespace
{

constexpr int TICKS_BETWEEN_SWEEPS = 5;
constexpr uint32_t LONGEST_SWEEP = 20; // milliseconds of one event
constexpr int SWEEP_PAUSE = 10;        // milliseconds
constexpr int NUMBER_TEXT_SIZE = 128;
constexpr int TITLE_SIZE = 256;

bool first_tick = true;
int32_t sweep_counter;
int sweep_timer; // of a sweep that is not done; 0: none

bool bind_has_changed()
{
    return first_tick || read_setting(SETTING_BIND) != gateway.bind_mode;
}

const char *listening_address()
{
    return gateway.bind_mode != 0 ? gateway.selected_address : "ALL IP ADDRESSES";
}

void form_status_text()
{
    format_text(gateway.status_text, STATUS_TEXT_SIZE, "Listening on [%s], port [%d]",
                listening_address(), gateway.shown_port);
}

void refresh_title()
{
    if (!bind_has_changed()) {
        return;
    }
    gateway.bind_mode = read_setting(SETTING_BIND);
    gateway.shown_port = read_setting(SETTING_PORT);
    form_status_text();
    if (gateway.statusWindow == nullptr) {
        return;
    }

    char title[TITLE_SIZE];
    char present[TITLE_SIZE];
    format_text(title, sizeof title,
                " Quillon email-to-fax SMTP server [%s] on port [%d]",
                listening_address(), gateway.shown_port);
    window_text(gateway.statusWindow, present, sizeof present);
    if (strcmp(title, present) != 0) {
        window_set_text(gateway.statusWindow, title);
    }
}

// The title's refresh has just brought the mode up to date, so that this is reported at
// the first tick only.
void report_listening()
{
    if (!bind_has_changed()) {
        return;
    }
    gateway.bind_mode = read_setting(SETTING_BIND);
    if (gateway.bind_mode != 0) {
        if (gateway.selected_address[0] == '\0') {
            read_setting_text_or(SETTING_IPADDR, "127.0.0.1", gateway.selected_address,
                                 ADDRESS_TEXT_SIZE);
        }
        log_stamped("SMTP: Server is listening on single selected IP address of %s on "
                    "port [%d]..",
                    gateway.selected_address, gateway.shown_port);
    } else {
        log_stamped("SMTP: Server is listening on ALL available IP address(s) on port "
                    "[%d]..",
                    gateway.shown_port);
    }
    window_repaint(gateway.statusWindow);
    form_status_text();
}

bool has_expired(const ClientSession *session)
{
    if (session->lastActivity == 0 || session->waits) {
        return false;
    }
    // Signed, so that the tick count's wrap does no harm.
    const auto idle = static_cast<int32_t>(tick_count() - session->lastActivity);
    return idle / 1000 > gateway.socket_timeout;
}

void close_idle(ClientSession *session)
{
    log_stamped(WEIGHT_WARNING, "SMTP: [%s] Socket timeout expired - closing socket",
                session->peerText);
    body_abandon(session);
    // Not logged, as Disconnect would.
    const MailTransaction &mail = session->mail;
    spool_files_remove({mail.spoolTemp, mail.spoolText, mail.spoolEnvelope});
    Disconnect(session);
}

// Closes the idle connections, or as many as others can be kept waiting for. Whether that
// was all.
bool sweep()
{
    const uint32_t began = tick_count();
    ClientSession *following = nullptr;
    for (ClientSession *session = session_next(nullptr); session != nullptr;
         session = following) {
        following = session_next(session);
        if (has_expired(session)) {
            close_idle(session);
            if (tick_count() - began > LONGEST_SWEEP) {
                return false;
            }
        }
    }
    return true;
}

// Goes on after a pause in which others are served, until the sweep is done.
void sweep_in_parts()
{
    if (sweep_timer != 0) {
        timer_stop(sweep_timer);
        sweep_timer = 0;
    }
    if (!sweep()) {
        sweep_timer = timer_start(gateway.mainWindow, SWEEP_PAUSE);
    }
}

int read_text_as_number(Setting setting)
{
    char text[NUMBER_TEXT_SIZE];
    read_setting_text(setting, text, sizeof text);
    return text_to_number(text);
}

void read_settings_again()
{
    settings_flush();
    log_timestamp(log_stamp);

    // The listening socket stays: a new port counts in texts now, and at the next start.
    const int port = read_text_as_number(SETTING_PORT);
    if (port != gateway.shown_port) {
        gateway.shown_port = port;
        log_line("%s SMTP: SMTP connections port RESET to Port %d ", log_stamp, port);
    }
    const int timeout = read_text_as_number(SETTING_SOCKETTIMEOUT);
    if (timeout != gateway.socket_timeout) {
        gateway.socket_timeout = timeout;
        log_line("%s SMTP: Socket timeout RESET to %d second", log_stamp, timeout);
    }
}

} // namespace

void timer_tick(int timer)
{
    if (timer == sweep_timer) {
        sweep_in_parts();
        return;
    }
    if (status_window_shown == 1) {
        update_clock_text(gateway.statusWindow);
    }
    refresh_title();
    report_listening();
    first_tick = false;

    if (gateway.socket_timeout == 0) {
        return;
    }
    if (++sweep_counter <= TICKS_BETWEEN_SWEEPS) {
        return;
    }
    sweep_in_parts();
    read_settings_again();
    sweep_counter = 0;
}
