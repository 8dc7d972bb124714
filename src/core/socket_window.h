// The hidden window that gets the events of every socket.
#pragma once

#include "platform/windows.h"

// The platform's first message for windows of our own, and 998.
inline constexpr unsigned SOCKET_EVENT = MESSAGE_USER + 998;

Param socket_window_proc(Window *window, unsigned message, Param first, Param second);
