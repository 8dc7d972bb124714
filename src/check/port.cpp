// Whether the server could listen now.
#include "check/checks.h"

#include "base/gateway.h"
#include "base/settings.h"
#include "base/text.h"
#include "check/findings.h"
#include "platform/sockets.h"

#include <cerrno>

namespace
{

constexpr int PORT_TEXT_SIZE = 256;

// The address the server would choose (core/listener.cpp), and the text of IPADDR if that
// decides it.
uint32_t listening_address(char (&chosen)[ADDRESS_TEXT_SIZE])
{
    chosen[0] = '\0';
    if (read_setting(SETTING_BIND) == 0) {
        return ADDRESS_ANY;
    }
    if (read_setting(SETTING_TCPIP_USESAMEIPADDRESS) != 0) {
        read_setting_text_or(SETTING_IPADDR, "127.0.0.1", chosen, sizeof chosen);
        return address_from_text(chosen);
    }

    char name[HOST_NAME_SIZE] = "";
    uint32_t own = ADDRESS_NONE;
    int count = host_look_up(name, name, sizeof name, &own);
    if (count == 0) {
        return address_from_text("127.0.0.1");
    }
    read_setting_text(SETTING_IPADDR, chosen, sizeof chosen);
    if (count == 1 && !equal_ignoring_case(chosen, "127.0.0.1")) {
        return own;
    }
    return chosen[0] != '\0' ? address_from_text(chosen) : ADDRESS_ANY;
}

} // namespace

void check_port()
{
    char port_text[PORT_TEXT_SIZE];
    read_setting_text(SETTING_PORT, port_text, sizeof port_text);
    int port = text_to_number(port_text);
    if (port < 1 || port > 65535) {
        return; // reported with the settings
    }

    char chosen[ADDRESS_TEXT_SIZE];
    uint32_t address = listening_address(chosen);
    char address_text[16];
    address_to_text(address, address_text, sizeof address_text);

    Socket socket = socket_create();
    if (!socket_bind(socket, address, static_cast<uint16_t>(port))) {
        switch (socket_last_error()) {
        case EADDRINUSE:
            report(FOUND_WARNING, nullptr, 0,
                   "port %d of %s is taken: the server runs already, or another program "
                   "listens there",
                   port, address_text);
            break;
        case EACCES:
            report(FOUND_ERROR, nullptr, 0,
                   "port %d needs privileges that this user does not have", port);
            break;
        case EADDRNOTAVAIL:
            report(FOUND_ERROR, nullptr, 0, "IPADDR=%s is no address of this host",
                   chosen);
            break;
        default:
            report(FOUND_ERROR, nullptr, 0, "port %d of %s cannot be opened", port,
                   address_text);
            break;
        }
    }
    socket_close(socket);
}
