#include "base/listen_address.h"

#include "base/settings.h"
#include "base/text.h"

namespace
{

constexpr char LOOPBACK[] = "127.0.0.1";

// The text becomes the address's normal form.
ListenAddress listen_on(ListenRule rule, uint32_t address)
{
    ListenAddress chosen{rule, address, ""};
    address_to_text(address, chosen.text, ADDRESS_TEXT_SIZE);
    return chosen;
}

} // namespace

HostAddresses learn_host(char name[HOST_NAME_SIZE])
{
    if (host_name_of_machine(name, HOST_NAME_SIZE) != 0) {
        copy_text(name, HOST_NAME_SIZE, "localhost");
    }
    HostAddresses host{0, ADDRESS_NONE};
    host.count = host_look_up(name, name, HOST_NAME_SIZE, &host.first);
    return host;
}

ListenAddress choose_listen_address(int bind_mode, const HostAddresses &host,
                                    const char *given)
{
    if (bind_mode == 0) {
        return {LISTEN_ON_ALL, ADDRESS_ANY, "ALL ADDRESSES"};
    }
    if (read_setting(SETTING_TCPIP_USESAMEIPADDRESS) != 0) {
        char always[ADDRESS_TEXT_SIZE];
        read_setting_text_or(SETTING_IPADDR, LOOPBACK, always, sizeof always);
        return listen_on(LISTEN_ON_GIVEN_ALWAYS, address_from_text(always));
    }
    if (host.count == 0) {
        return listen_on(LISTEN_ON_LOOPBACK, address_from_text(LOOPBACK));
    }
    if (host.count == 1 && !equal_ignoring_case(given, LOOPBACK)) {
        return listen_on(LISTEN_ON_HOSTS_OWN, host.first);
    }
    if (given[0] != '\0') {
        return listen_on(LISTEN_ON_GIVEN, address_from_text(given));
    }
    return {LISTEN_UNDECIDED, ADDRESS_ANY, ""};
}
