#include "log/log_trim.h"

#include "base/paths.h"
#include "base/settings.h"
#include "platform/files.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <new>

namespace
{

constexpr size_t LINE_PIECE = 511;  // bytes of a line taken at a time
constexpr size_t SHORTEST_KEPT = 3; // shorter ones, such as a bare CR LF, are left out
constexpr size_t BUFFER_SIZE = 65536;

// A number of megabytes, held within its limits, in bytes.
int32_t bytes_of(Setting setting)
{
    const SettingRow &row = SETTING_ROWS[setting];
    return std::clamp(read_setting(setting), row.lowest, row.highest) << 20;
}

// Reads a file line by line.
struct LineReader {
    FileHandle file;
    size_t at = 0, count = 0;
    char buffer[BUFFER_SIZE];
};

LineReader reader;

bool next_byte(char *byte)
{
    if (reader.at == reader.count) {
        const int64_t count = file_read(reader.file, reader.buffer, BUFFER_SIZE);
        reader.at = 0;
        reader.count = count > 0 ? static_cast<size_t>(count) : 0;
    }
    if (reader.count == 0) {
        return false;
    }
    *byte = reader.buffer[reader.at++];
    return true;
}

// At most 511 bytes, up to and with the LF; 0 at the end of the file.
size_t next_line(char line[LINE_PIECE])
{
    size_t length = 0;
    while (length < LINE_PIECE && next_byte(&line[length])) {
        if (line[length++] == '\n') {
            break;
        }
    }
    return length;
}

// The lines kept, on their way to the temporary file.
struct Output {
    FileHandle file;
    size_t count = 0;
    bool sound = true;
    char buffer[BUFFER_SIZE];
};

Output output;

void write_out()
{
    output.sound = output.sound && file_write(output.file, output.buffer, output.count);
    output.count = 0;
}

void keep(const char *line, size_t length)
{
    if (output.count + length > BUFFER_SIZE) {
        write_out();
    }
    assert(output.count + length <= BUFFER_SIZE);
    memcpy(output.buffer + output.count, line, length);
    output.count += length;
}

// Copies what follows the line that the cut point fell into.
bool copy_tail(FileHandle log, FileHandle temporary)
{
    reader.file = log;
    reader.at = reader.count = 0;
    output.file = temporary;
    output.count = 0;
    output.sound = true;

    char line[LINE_PIECE];
    next_line(line);
    while (const size_t length = next_line(line)) {
        if (length >= SHORTEST_KEPT) {
            keep(line, length);
        }
    }
    write_out();
    return output.sound;
}

FileHandle open_trim_file()
{
    try {
        return file_open(TRIM_FILE, FILE_EMPTY);
    } catch (const std::bad_alloc &) {
        return NO_FILE;
    }
}

} // namespace

int trim_log_file(const char *path)
{
    const int64_t size = file_size(path);
    const int32_t kept = bytes_of(SETTING_MINSIZE);
    const int32_t limit = bytes_of(SETTING_MAXSIZE);
    // A cut point outside the file gives nothing sound to keep: it stays as it is.
    if (size < 0 || size <= limit || kept >= size) {
        return 0;
    }
    const FileHandle log = file_open(path, FILE_READ);
    if (log == NO_FILE) {
        return 0;
    }
    const FileHandle temporary = open_trim_file();
    if (temporary == NO_FILE) {
        file_close(log);
        return 0;
    }
    const bool copied = file_seek(log, size - kept) && copy_tail(log, temporary);
    file_close(log);
    if (file_close(temporary) && copied && file_replace_by(path, TRIM_FILE)) {
        return 1;
    }
    file_delete(TRIM_FILE);
    return 0;
}
