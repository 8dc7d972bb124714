#include "core/listener.h"

#include "base/gateway.h"
#include "base/listen_address.h"
#include "base/resource_ids.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "core/socket_window.h"
#include "log/activity_log.h"
#include "platform/program.h"
#include "platform/service.h"
#include "platform/store.h"
#include "ui/resource_ids.h"

namespace
{

// What the server asks for. The layer below makes of both what this system needs: its
// longest backlog, because a client beyond a short one is never greeted here (959 of
// 1,000 in a burst); 65,536 bytes for receiving and 16,384 for sending, because with
// 1,024 a connection stalls for up to 20 seconds.
constexpr int BACKLOG = 1;
constexpr int BUFFER_SIZE = 1024;

constexpr char PORT_CAPTION[] = "Quillon Email-to-Fax SMTP gateway";
constexpr char PORT_TEXT[] =
    "The Quillon SMTP server cannot be started at this time.\r\n\r\n"
    "It is not able to open the configured TCP port, which means\r\n"
    "that there is probably another server already running on this\r\n"
    "machine that uses the same port.\r\n\r\n"
    "You can change the port used by this server from the\r\n"
    "SMTP server tab of the Email-to-Fax menu option in the\r\n"
    "Fax Server ";

bool create_socket_window()
{
    const WindowClass window_class = {SOCKET_WINDOW_CLASS, socket_window_proc, ICON_TRAY};
    if (!class_register(window_class)) {
        return false;
    }
    gateway.socketWindow =
        window_create(SOCKET_WINDOW_CLASS, "", {0, 0, 0, 0}, gateway.mainWindow);
    if (gateway.socketWindow == nullptr) {
        class_unregister(SOCKET_WINDOW_CLASS);
        return false;
    }
    store_reports_to(gateway.socketWindow, STORE_EVENT);
    return true;
}

// Everything made so far is undone; the window's end closes the socket with it.
void give_up()
{
    window_destroy(gateway.socketWindow);
    gateway.socketWindow = nullptr;
    class_unregister(SOCKET_WINDOW_CLASS);
}

// The address kept and shown from here on. While it is undecided nothing is shown.
void show_address(const ListenAddress &local, char *selected)
{
    copy_text(selected, ADDRESS_TEXT_SIZE, local.text);
    if (local.rule != LISTEN_UNDECIDED) {
        const bool own = local.rule == LISTEN_ON_HOSTS_OWN;
        format_text(gateway.status_text, STATUS_TEXT_SIZE, "%s [%s], port [%d]",
                    own ? "Server is listening on" : "Listening on", local.text,
                    gateway.listen_port);
    }
}

void tell_service_manager(const ListenAddress &local, int error)
{
    char status[STATUS_TEXT_SIZE];
    format_text(status, sizeof status, "Cannot listen on [%s], port [%d]",
                local.address == ADDRESS_ANY ? "ALL ADDRESSES" : local.text,
                gateway.listen_port);
    service_has_failed(status, error);
}

// Binds the socket to the chosen address and listens. False with the reason logged.
bool listen_at(char *address, const HostAddresses &host)
{
    gateway.bind_mode = read_setting(SETTING_BIND);
    const ListenAddress local = choose_listen_address(gateway.bind_mode, host, address);
    show_address(local, address);
    if (!socket_bind(gateway.listener, local.address,
                     static_cast<uint16_t>(gateway.listen_port))) {
        tell_service_manager(local, socket_last_error());
        char reason[128];
        char asked[ADDRESS_TEXT_SIZE];
        address_to_text(local.address, asked, sizeof asked);
        format_text(reason, sizeof reason, "Address %s, port %d: %s", asked,
                    gateway.listen_port, socket_failure());
        give_up();
        log_stamped(WEIGHT_FAILURE, "SMTP: Error - Unable to create named socket");
        log_stamped(WEIGHT_FAILURE, "SMTP: %s", reason);
        log_flush();
        message_box(nullptr, PORT_TEXT, PORT_CAPTION, BOX_EXCLAMATION | BOX_SYSTEM_MODAL);
        program_error(reason);
        return false;
    }
    if (!socket_listen(gateway.listener, BACKLOG)) {
        const int error = socket_last_error();
        give_up();
        log_stamped(WEIGHT_FAILURE, "SMTP: Error - cant listen");
        log_line(WEIGHT_FAILURE, "TCP ERROR = %d", error);
        return false;
    }
    return true;
}

} // namespace

void set_socket_buffers(Socket socket)
{
    char stamp[STAMP_SIZE];
    log_timestamp(stamp);
    if (!socket_set_receive_buffer(socket, BUFFER_SIZE)) {
        log_line(WEIGHT_WARNING, "%s KORD: socket receive buffer setting failed", stamp);
    }
    if (!socket_set_send_buffer(socket, BUFFER_SIZE)) {
        log_line(WEIGHT_WARNING, "%s KORD: socket send buffer setting failed", stamp);
    }
}

int start_listener(char *address)
{
    log_line("%s", "");
    log_line("%s", "");
    log_stamped("SMTP: Server operations started...");
    log_line("%s SMTP: %s", log_stamp, SOCKET_LIBRARY);

    if (!create_socket_window()) {
        return -1;
    }
    const HostAddresses host = learn_host(gateway.host_name);

    gateway.listener = socket_create();
    if (gateway.listener == NO_SOCKET) {
        give_up();
        log_stamped(WEIGHT_FAILURE, "SMTP: Aborting, unable to create socket");
        return -1;
    }
    set_socket_buffers(gateway.listener);
    if (!socket_register(gateway.listener, gateway.socketWindow, SOCKET_EVENT)) {
        give_up();
        log_stamped(WEIGHT_FAILURE, "SMTP: Error - WSAAsyncSelect failed");
        return -1;
    }

    if (!listen_at(address, host)) {
        return -1;
    }
    sessions_init();
    return 0;
}
