#include "core/shutdown.h"

#include "base/gateway.h"
#include "base/resource_ids.h"
#include "base/sessions.h"
#include "log/activity_log.h"
#include "platform/service.h"

void close_down()
{
    log_stamped("SMTP: Server is being closed down");
    log_flush();
    // No line for each connection, and unfinished spool files stay: the next start of the
    // fax server finds them as they are.
    sessions_free_all();
    window_destroy(gateway.socketWindow); // closes the listening socket
    gateway.socketWindow = nullptr;
    class_unregister(SOCKET_WINDOW_CLASS);
}

void stop_serving()
{
    service_is_stopping();
    if (gateway.timer != 0) {
        timer_stop(gateway.timer);
        gateway.timer = 0;
    }
    close_down();
}
