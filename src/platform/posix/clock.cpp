#include "platform/clock.h"

#include <ctime>

uint32_t tick_count()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000 +
                                 static_cast<uint64_t>(now.tv_nsec) / 1000000);
}

int64_t unix_time()
{
    return time(nullptr);
}

const LocalTime &local_time()
{
    static LocalTime local;
    static time_t converted = -1;

    // Converted once a second; a zone changes its offset at whole seconds only.
    const time_t now = time(nullptr);
    if (now == converted) {
        return local;
    }
    converted = now;
    tm calendar{};
    localtime_r(&now, &calendar);
    local.year = calendar.tm_year + 1900;
    local.month = calendar.tm_mon;
    local.day = calendar.tm_mday;
    local.weekday = calendar.tm_wday;
    local.hour = calendar.tm_hour;
    local.minute = calendar.tm_min;
    local.second = calendar.tm_sec;
    local.zone = calendar.tm_zone != nullptr ? calendar.tm_zone : "";
    return local;
}
