// The address that the server listens on, as the settings and the host's addresses
// decide it.
#pragma once

#include "base/gateway.h"

#include <cstdint>

struct HostAddresses {
    int count; // 0: the look-up has failed
    uint32_t first;
};

// Writes the host's name, "localhost" when it cannot be had, and gives its addresses.
HostAddresses learn_host(char name[HOST_NAME_SIZE]);

// The rules in their order; the first that matches decides.
enum ListenRule {
    LISTEN_ON_ALL,          // bind is 0
    LISTEN_ON_GIVEN_ALWAYS, // USESAMEIPADDRESS of section TCPIP: IPADDR, whatever the
                            // host has
    LISTEN_ON_LOOPBACK,     // the host has no address
    LISTEN_ON_HOSTS_OWN,    // the host's one address
    LISTEN_ON_GIVEN,        // IPADDR
    LISTEN_UNDECIDED,       // several addresses and no IPADDR: all of them
};

struct ListenAddress {
    ListenRule rule;
    uint32_t address;             // network byte order
    char text[ADDRESS_TEXT_SIZE]; // for titles and messages; empty while undecided
};

// `given` is the value of IPADDR as the start has read it, or empty.
ListenAddress choose_listen_address(int bind_mode, const HostAddresses &host,
                                    const char *given);
