// The activity log: LOGS\QLNSMTP.TXT and the list of the status window.
//
// Lines are buffered while an event is handled, and flushed before the next byte is sent
// or a socket is closed, and when the event ends.
#pragma once

#include "platform/weight.h"

inline constexpr int STAMP_SIZE = 24;
inline constexpr int LOG_TEXT_SIZE = 2048; // room for a message with a whole line in it

// The last time stamp formed, the beginning of most messages.
extern char log_stamp[STAMP_SIZE];

// Fills `text` (24 bytes) with the present local time, as in
// "05 Jan, 2005 14:03:09 :".
void log_timestamp(char *text);

// Logs one message as it is, and may cut the text at its first CR or LF. The caller
// learns of no failure.
void log_write(char *text, Weight weight = WEIGHT_NOTE);

// Formats one message without a time stamp and logs it.
[[gnu::format(printf, 1, 2)]] void log_line(const char *format, ...);
[[gnu::format(printf, 2, 3)]] void log_line(Weight weight, const char *format, ...);

// The same after a fresh time stamp (kept in log_stamp) and a blank.
[[gnu::format(printf, 1, 2)]] void log_stamped(const char *format, ...);
[[gnu::format(printf, 2, 3)]] void log_stamped(Weight weight, const char *format, ...);

// Writes the buffered lines to the file.
void log_flush();

// The log file's path.
void log_path(char *path, int size);
