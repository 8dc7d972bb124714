// The hidden window that gets the events of every socket.
#pragma once

#include "platform/windows.h"

// The platform's first message for windows of our own, and 998.
inline constexpr unsigned SOCKET_EVENT = MESSAGE_USER + 998;
inline constexpr unsigned STORE_EVENT =
    MESSAGE_USER + 999; // a message that was on its way

Param socket_window_proc(Window *window, unsigned message, Param first, Param second);
