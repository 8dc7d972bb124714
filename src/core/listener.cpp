#include "core/listener.h"

#include "base/gateway.h"
#include "base/resource_ids.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "core/socket_window.h"
#include "log/activity_log.h"
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

struct HostAddresses {
    int count; // 0: the look-up has failed
    uint32_t first;
};

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
    return true;
}

HostAddresses learn_host()
{
    if (host_name_of_machine(gateway.host_name, HOST_NAME_SIZE) != 0) {
        copy_text(gateway.host_name, HOST_NAME_SIZE, "localhost");
    }
    HostAddresses host{0, ADDRESS_NONE};
    host.count =
        host_look_up(gateway.host_name, gateway.host_name, HOST_NAME_SIZE, &host.first);
    return host;
}

// Everything made so far is undone; the window's end closes the socket with it.
void give_up()
{
    window_destroy(gateway.socketWindow);
    gateway.socketWindow = nullptr;
    class_unregister(SOCKET_WINDOW_CLASS);
}

// One address: kept in its normal form and shown in the status line.
uint32_t listen_on(uint32_t address, char *selected, const char *status_format)
{
    address_to_text(address, selected, ADDRESS_TEXT_SIZE);
    format_text(gateway.status_text, STATUS_TEXT_SIZE, "%s [%s], port [%d]",
                status_format, selected, gateway.listen_port);
    return address;
}

// The address to listen on; the first rule that matches wins.
uint32_t choose_address(const HostAddresses &host, char *selected)
{
    constexpr char PLAIN[] = "Listening on";
    constexpr char HOSTS_OWN[] = "Server is listening on";

    if (gateway.bind_mode == 0) {
        copy_text(selected, ADDRESS_TEXT_SIZE, "ALL ADDRESSES");
        format_text(gateway.status_text, STATUS_TEXT_SIZE,
                    "Listening on [ALL ADDRESSES], port [%d]", gateway.listen_port);
        return ADDRESS_ANY;
    }
    if (read_setting(SETTING_TCPIP_USESAMEIPADDRESS) != 0) {
        read_setting_text_or(SETTING_IPADDR, "127.0.0.1", selected, ADDRESS_TEXT_SIZE);
        return listen_on(address_from_text(selected), selected, PLAIN);
    }
    if (host.count == 0) {
        return listen_on(address_from_text("127.0.0.1"), selected, PLAIN);
    }
    if (host.count == 1 && !equal_ignoring_case(selected, "127.0.0.1")) {
        return listen_on(host.first, selected, HOSTS_OWN);
    }
    if (selected[0] != '\0') {
        return listen_on(address_from_text(selected), selected, PLAIN);
    }
    return ADDRESS_ANY; // several addresses and none chosen
}

// Binds the socket to the chosen address and listens. False with the reason logged.
bool listen_at(char *address, const HostAddresses &host)
{
    gateway.bind_mode = read_setting(SETTING_BIND);
    const uint32_t local = choose_address(host, address);
    if (!socket_bind(gateway.listener, local,
                     static_cast<uint16_t>(gateway.listen_port))) {
        give_up();
        log_stamped(WEIGHT_FAILURE, "SMTP: Error - Unable to create named socket");
        log_flush();
        message_box(nullptr, PORT_TEXT, PORT_CAPTION, BOX_EXCLAMATION | BOX_SYSTEM_MODAL);
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
    const HostAddresses host = learn_host();

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
