#include "core/shutdown.h"

#include "base/gateway.h"
#include "base/resource_ids.h"
#include "base/sessions.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "platform/service.h"
#include "platform/store.h"
#include "smtp/message.h"

#include <new>

namespace
{

constexpr uint32_t LONGEST_WAIT = 4000; // milliseconds

// Messages that are on their way to the disk are waited for and answered.
void finish_messages()
{
    const uint32_t began = tick_count();
    uint32_t passed = 0;
    while (passed < LONGEST_WAIT) {
        StoreJob *report = store_wait(static_cast<int>(LONGEST_WAIT - passed));
        if (report == nullptr) {
            return;
        }
        try {
            message_reported(report);
        } catch (const std::bad_alloc &) {
            // Nobody can be told of it; the next one may be.
        }
        passed = tick_count() - began;
    }
}

} // namespace

void close_down()
{
    finish_messages();
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
