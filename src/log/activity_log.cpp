#include "log/activity_log.h"

#include "base/paths.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/log_list.h"
#include "log/log_trim.h"
#include "platform/clock.h"
#include "platform/files.h"

#include <cassert>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

char log_stamp[STAMP_SIZE];

namespace
{

constexpr size_t LINE_LIMIT = 506; // characters of a text that reach the file
constexpr int CALLS_BETWEEN_CHECKS = 500;

constexpr char TRIM_MARKER[] =
    "\r\n********LOG FILE SIZE TRIMMED TO SPECIFIED MINIMUM SIZE********\r\n\r\n";

bool busy; // a call during a call is dropped
int32_t write_counter;

// Lines on their way to the file.
char buffer[32 * 1024];
size_t buffered;

void add_bytes(const char *bytes, size_t count)
{
    if (buffered + count > sizeof buffer) {
        log_flush();
    }
    if (buffered + count <= sizeof buffer) { // else there is no memory to write them
        memcpy(buffer + buffered, bytes, count);
        buffered += count;
    }
}

// Takes one step of a call. When memory fails in it, the other steps are taken all the
// same: no log call fails towards its caller. Whether it did not fail.
template <typename Step> bool is_taken(Step step)
{
    try {
        step();
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

// CR LF where there is none; a lone CR at the end gets its LF.
const char *line_ending(std::string_view text)
{
    if (text.find('\r') == std::string_view::npos) { // the quicker search of the two
        return "\r\n";
    }
    return text.substr(text.rfind('\r') + 1).starts_with('\n') ? "" : "\n";
}

void add_line(const char *text)
{
    const size_t length = strnlen(text, LINE_LIMIT);
    const char *ending = line_ending({text, length});
    add_bytes(text, length);
    add_bytes(ending, strlen(ending));
}

// Every 501st call looks at the file's size.
void check_size()
{
    if (++write_counter <= CALLS_BETWEEN_CHECKS) {
        return;
    }
    write_counter = 0;
    log_flush();
    if (trim_log_file(LOG_FILE) != 0) {
        add_bytes(TRIM_MARKER, sizeof TRIM_MARKER - 1);
    }
}

void write_formatted(Weight weight, const char *format, va_list arguments)
{
    char text[LOG_TEXT_SIZE];
    format_arguments(text, sizeof text, format, arguments);
    log_write(text, weight);
}

void write_stamped(Weight weight, const char *format, va_list arguments)
{
    log_timestamp(log_stamp);
    char text[LOG_TEXT_SIZE];
    const size_t stamp = copy_text(text, sizeof text, log_stamp);
    text[stamp] = ' ';
    format_arguments(text + stamp + 1, sizeof text - stamp - 1, format, arguments);
    log_write(text, weight);
}

// A setting that could not be written is told when the event ends, because it may have
// been written before there was a log list.
void tell_write_error()
{
    if (busy || log_list() == nullptr) {
        return;
    }
    if (const char *error = settings_take_write_error()) {
        log_stamped(WEIGHT_FAILURE, "SMTP: A setting could not be written: %s", error);
    }
}

} // namespace

void log_timestamp(char *text)
{
    static char stamp[STAMP_SIZE];
    static int64_t formed = -1;

    const int64_t now = unix_time();
    if (now != formed) {
        formed = now;
        const LocalTime &time = local_time();
        format_text(stamp, sizeof stamp, "%02d %s, %4d %02d:%02d:%02d :", time.day,
                    MONTH_NAMES[time.month], time.year, time.hour, time.minute,
                    time.second);
    }
    memcpy(text, stamp, sizeof stamp);
}

void log_write(char *text, Weight weight)
{
    Window *list = log_list();
    if (busy || list == nullptr) {
        return;
    }
    busy = true;
    is_taken(check_size);
    add_line(text);
    is_taken([&] {
        if (text[0] != '\0' && read_setting(SETTING_LOGONLY) == 0) {
            log_list_add(list, text, weight);
        }
    });
    busy = false;
}

void log_line(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_formatted(WEIGHT_NOTE, format, arguments);
    va_end(arguments);
}

void log_line(Weight weight, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_formatted(weight, format, arguments);
    va_end(arguments);
}

void log_stamped(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_stamped(WEIGHT_NOTE, format, arguments);
    va_end(arguments);
}

void log_stamped(Weight weight, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_stamped(weight, format, arguments);
    va_end(arguments);
}

void log_path(char *path, int size)
{
    path_below(path, size, LOG_FILE);
}

void log_flush()
{
    tell_write_error();
    // Nobody to tell when that fails; without memory the file is looked for later.
    if (buffered > 0 &&
        is_taken([] { file_put(LOG_FILE, FILE_APPEND, buffer, buffered); })) {
        buffered = 0;
    }
}
