// The network side's start.
#pragma once

#include "platform/sockets.h"

// Chooses the address, binds and listens. `address` is the value of IPADDR or empty, and
// becomes the address text really used. 0, or -1 with everything undone and the reason
// logged.
int start_listener(char *address);

// Asks for buffers of 1,024 bytes; a failure is only logged.
void set_socket_buffers(Socket socket);
