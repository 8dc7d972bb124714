// The few values the server keeps in memory. Every other setting is read from the
// settings file when it is needed.
#pragma once

#include "platform/sockets.h"
#include "platform/windows.h"

inline constexpr char PROGRAM_VERSION[] = "2.61.00";
inline constexpr char PROGRAM_BUILD_DATE[] = "1 January,2005";
inline constexpr char GREETING_NAME[] = "Quillon email-to-fax SMTP server";

inline constexpr int ADDRESS_TEXT_SIZE = 36;
inline constexpr int STATUS_TEXT_SIZE = 128;
inline constexpr int HOST_NAME_SIZE = 256;

struct GatewaySettings {
    Window *mainWindow;
    Window *statusWindow;
    Window *socketWindow;
    Socket listener;
    int timer; // 0: no timer runs

    int listen_port;        // the listener is bound to it
    int shown_port;         // last read; in titles and messages
    int bind_mode;          // last value read of `bind`
    int socket_timeout;     // seconds, 0: never
    int inactivity_timeout; // seconds; only reported

    char selected_address[ADDRESS_TEXT_SIZE]; // the address text the listener uses
    char status_text[STATUS_TEXT_SIZE];       // shown by the information dialogs
    char host_name[HOST_NAME_SIZE];           // shown by the greeting

    int active_count;          // connections
    bool connection_indicator; // from an accept until the next disconnect
};

extern GatewaySettings gateway;
