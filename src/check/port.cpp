// Whether the server could listen now, or does so already.
#include "check/checks.h"

#include "base/listen_address.h"
#include "base/paths.h"
#include "base/settings.h"
#include "base/text.h"
#include "check/findings.h"
#include "platform/files.h"
#include "platform/first_line.h"

#include <cstring>

namespace
{

constexpr int PORT_TEXT_SIZE = 256;
constexpr int LINE_SIZE = 512;
constexpr int PATIENCE = 1000; // milliseconds

ListenAddress listen_address(char given[ADDRESS_TEXT_SIZE])
{
    char name[HOST_NAME_SIZE];
    read_setting_text(SETTING_IPADDR, given, ADDRESS_TEXT_SIZE);
    return choose_listen_address(read_setting(SETTING_BIND), learn_host(name), given);
}

// The greeting, or the refusal of a client who is not let in.
bool is_said_by_us(const char *line)
{
    return (begins_ignoring_case(line, "220 ") &&
            strstr(line, GREETING_NAME) != nullptr) ||
           begins_ignoring_case(line, "503 ");
}

// The server has logged its client before it says a word.
void report_taken(int port, const char *address, uint32_t local)
{
    char line[LINE_SIZE];
    const int64_t log_size = file_size(LOG_FILE);
    const bool answers =
        first_line_of(local, static_cast<uint16_t>(port), PATIENCE, line, sizeof line);
    const bool ours = answers && is_said_by_us(line);
    if (ours && file_size(LOG_FILE) != log_size) {
        report(FOUND_NOTE, nullptr, 0, "port %d of %s: the server is running", port,
               address);
    } else if (ours) {
        report(FOUND_ERROR, nullptr, 0,
               "port %d of %s is taken by a server that writes no log here: another "
               "installation's",
               port, address);
    } else {
        report(FOUND_ERROR, nullptr, 0, "port %d of %s is taken by another program%s",
               port, address, answers ? "" : ", or by a server that does not answer");
    }
}

void report_failure(int port, const ListenAddress &local, const char *given)
{
    char address[16];
    address_to_text(local.address, address, sizeof address);
    switch (socket_bind_failure()) {
    case BIND_ADDRESS_TAKEN:
        report_taken(port, address, local.address);
        break;
    case BIND_NOT_PERMITTED:
        report(FOUND_NOTE, nullptr, 0,
               "port %d needs a right that this user has not: the unit "
               "qlnsmtpd@.service gives it to the server",
               port);
        break;
    case BIND_NOT_OWN_ADDRESS:
        report(FOUND_ERROR, nullptr, 0, "IPADDR=%s is no address of this host", given);
        break;
    case BIND_FAILED:
        report(FOUND_ERROR, nullptr, 0, "port %d of %s cannot be opened", port, address);
        break;
    }
}

// An IPADDR that the server passes over, or the lack of one.
void check_choice(const ListenAddress &local, const char *given)
{
    const bool passed_over =
        local.rule == LISTEN_ON_HOSTS_OWN || local.rule == LISTEN_ON_LOOPBACK;
    if (passed_over && given[0] != '\0' && !equal_ignoring_case(given, local.text)) {
        report(
            FOUND_WARNING, nullptr, 0,
            "IPADDR=%s is passed over, the server listens on %s: USESAMEIPADDRESS=1 in "
            "section [TCPIP] makes it listen on IPADDR",
            given, local.text);
    } else if (local.rule == LISTEN_UNDECIDED) {
        report(FOUND_NOTE, nullptr, 0,
               "the server listens on all addresses: IPADDR is not set and the host has "
               "several");
    }
}

} // namespace

void check_port()
{
    char port_text[PORT_TEXT_SIZE];
    read_setting_text(SETTING_PORT, port_text, sizeof port_text);
    const int port = text_to_number(port_text);
    const SettingRow &row = SETTING_ROWS[SETTING_PORT];
    if (port < row.lowest || port > row.highest) {
        return; // reported with the settings
    }

    char given[ADDRESS_TEXT_SIZE];
    const ListenAddress local = listen_address(given);
    check_choice(local, given);
    const Socket socket = socket_create();
    if (!socket_bind(socket, local.address, static_cast<uint16_t>(port))) {
        report_failure(port, local, given);
    }
    socket_close(socket);
}
