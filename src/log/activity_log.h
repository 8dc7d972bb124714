// The activity log: LOGS\QLNSMTP.TXT and the list of the status window.
//
// Lines are gathered while one event is handled and are in the file before the next
// byte is sent or a socket is closed, and at the end of the event at the latest.
#pragma once

#include "platform/weight.h"

inline constexpr int STAMP_SIZE = 24;
inline constexpr int LOG_TEXT_SIZE = 2048; // room for a message with a whole line in it

// The last time stamp formed, the beginning of most messages.
extern char log_stamp[STAMP_SIZE];

// Fills the buffer (24 bytes) with the present local time, as in
// "05 Jan, 2005 14:03:09 :".
void log_timestamp(char *buffer);

// Logs one message as it stands. May cut the text at its first CR or LF. Never fails
// towards its caller.
void log_write(char *text, Weight weight = WEIGHT_NOTE);

// Formats one message without a time stamp and logs it.
[[gnu::format(printf, 1, 2)]] void log_line(const char *format, ...);
[[gnu::format(printf, 2, 3)]] void log_line(Weight weight, const char *format, ...);

// The same behind a fresh time stamp (kept in log_stamp) and a blank.
[[gnu::format(printf, 1, 2)]] void log_stamped(const char *format, ...);
[[gnu::format(printf, 2, 3)]] void log_stamped(Weight weight, const char *format, ...);

// Puts the lines gathered into the file.
void log_flush();

// The log file's path.
void log_path(char *path, int size);
