// The machine's clocks.
#pragma once

#include <cstdint>

// English whatever the locale.
inline constexpr char MONTH_NAMES[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct LocalTime {
    int year;    // with the century
    int month;   // 0 to 11
    int day;     // of the month, 1 to 31
    int weekday; // 0 is Sunday
    int hour, minute, second;
    const char *zone; // abbreviation of the standard or daylight name in force, or empty
};

// Milliseconds since the machine started; wraps after 49.7 days. Never set back.
uint32_t tick_count();

// Whole seconds since 1 January 1970 (UTC).
int64_t unix_time();

// The present local calendar time, in the zone that TZ names. The record stays valid
// until the next call.
const LocalTime &local_time();
