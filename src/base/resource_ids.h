// The names of resources that more than one folder needs. The others are in
// ui/resource_ids.h.
#pragma once

inline constexpr char SOCKET_WINDOW_CLASS[] = "QLNSMTPsrvClass";

inline constexpr int CONTROL_LOG_LIST = 1000;
