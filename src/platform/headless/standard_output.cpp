#include "platform/headless/standard_output.h"

#include "platform/ascii.h"
#include "platform/service.h"
#include "platform/window_model/shown_text.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <climits>
#include <string>

namespace
{

constexpr size_t BUFFER_LIMIT = 4U << 20; // bytes
constexpr int LAST_WAIT = 2000;           // milliseconds

std::string buffer;
size_t written; // bytes of it that are out
bool gone;      // nobody reads any more

// A file (or the null device) takes any amount; a pipe or terminal says how much it has
// room for.
bool is_plain_file()
{
    static const bool plain = [] {
        struct stat status;
        return fstat(STDOUT_FILENO, &status) == 0 &&
               (S_ISREG(status.st_mode) ||
                (S_ISCHR(status.st_mode) && isatty(STDOUT_FILENO) == 0));
    }();
    return plain;
}

bool has_room(int milliseconds)
{
    pollfd room{STDOUT_FILENO, POLLOUT, 0};
    return poll(&room, 1, milliseconds) > 0;
}

bool flush(int milliseconds)
{
    while (written < buffer.size()) {
        const bool plain = is_plain_file();
        if (!plain && !has_room(milliseconds)) {
            return false;
        }
        const size_t left = buffer.size() - written;
        const size_t count = plain ? left : std::min<size_t>(left, PIPE_BUF);
        const ssize_t out = write(STDOUT_FILENO, buffer.data() + written, count);
        if (out < 0 && (errno == EAGAIN || errno == EINTR)) {
            return false;
        }
        if (out < 0) {
            gone = errno == EPIPE || errno == EBADF;
            break; // lost here as on a full disk; the log file has it
        }
        written += static_cast<size_t>(out);
    }
    buffer.clear();
    written = 0;
    return true;
}

// Drops the oldest lines, except one that is partly written, when the buffer is too long.
void keep_bound()
{
    assert(written <= buffer.size());
    if (buffer.size() - written <= BUFFER_LIMIT) {
        return;
    }
    const size_t begin = written == 0 ? 0 : buffer.find('\n', written) + 1;
    const size_t end = buffer.find('\n', begin + BUFFER_LIMIT / 4) + 1;
    buffer.erase(begin, end - begin);
    buffer.erase(0, written);
    written = 0;
}

// "05 Jan, 2005 14:03:09 : " at the beginning, where it is.
size_t stamp_length(const char *text)
{
    constexpr char SHAPE[] = "00 Aaa, 0000 00:00:00 : ";
    for (size_t i = 0; SHAPE[i] != '\0'; i++) {
        const int byte = static_cast<unsigned char>(text[i]);
        const bool fits = SHAPE[i] == '0' ? byte >= '0' && byte <= '9'
                          : SHAPE[i] >= 'A'
                              ? upper_case(text[i]) >= 'A' && upper_case(text[i]) <= 'Z'
                              : byte == SHAPE[i];
        if (!fits) {
            return 0;
        }
    }
    return sizeof SHAPE - 1;
}

// Every line gets one, so that no text of a client's can pass for it.
void add_mark(Weight weight)
{
    buffer += '<';
    buffer += static_cast<char>('0' + weight);
    buffer += '>';
}

} // namespace

void standard_output_line(const char *text, Weight weight)
{
    if (gone || text[0] == '\0') {
        return;
    }
    if (journal_takes_output()) {
        add_mark(weight);
        text += stamp_length(text);
    }
    append_shown_text(&buffer, text);
    buffer += '\n';
    keep_bound();
}

bool standard_output_write()
{
    return buffer.empty() || flush(0);
}

void standard_output_finish()
{
    if (!buffer.empty()) {
        flush(LAST_WAIT);
    }
}

void standard_error_box(const char *caption, const char *text)
{
    std::string shown = caption != nullptr ? std::string(caption) + ": " + text : text;
    if (journal_takes_errors()) {
        // Lines of a paragraph become words of one line.
        std::string line = "<" + std::to_string(WEIGHT_FAILURE) + ">";
        for (const char byte : shown) {
            const bool blank = byte == '\r' || byte == '\n' || byte == ' ';
            if (!blank) {
                line += byte;
            } else if (line.back() != ' ') {
                line += ' ';
            }
        }
        shown = line;
    }
    fprintf(stderr, "%s\n", shown.c_str());
}
