#include "core/disconnect.h"

#include "base/gateway.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "core/tray.h"
#include "log/activity_log.h"
#include "spool/message_body.h"
#include "spool/spool_files.h"
#include "ui/status_window.h"

#include <cassert>

namespace
{

void log_removed(const char *path)
{
    if (full_detail()) {
        log_line("%s", path);
        log_line("***DEBUG***  deleted file above in Disconnect");
    }
}

void log_what_remains(const ClientSession *session)
{
    log_stamped("SMTP: [%s] disconnected", session->peerText);
    if (gateway.active_count == 0) {
        log_line("%s SMTP: [%s] All active sessions closed", log_stamp,
                 session->peerText);
    } else {
        log_line("%s SMTP: [%d] connection%s still active", log_stamp,
                 gateway.active_count, gateway.active_count == 1 ? " is" : "s are");
    }
    log_line("<>");
}

} // namespace

void Disconnect(ClientSession *session)
{
    if (session->list != ON_ACTIVE_LIST) {
        return;
    }
    assert(session->socket != NO_SOCKET && gateway.active_count > 0);
    log_flush();
    socket_close(session->socket);
    gateway.active_count--;

    body_abandon(session);
    MailTransaction &mail = session->mail;
    spool_files_remove({mail.spoolEnvelope, mail.spoolText, mail.spoolTemp}, log_removed);
    mail = {};
    log_what_remains(session);
    session_release(session);

    gateway.connection_indicator = false;
    set_tray_icon(gateway.mainWindow, TRAY_CHANGE, TIP_WAITING);
    show_activity_lights();
}
