#include "base/paths.h"

#include "base/text.h"
#include "platform/files.h"

#include <algorithm>
#include <cstring>

bool path_below(char *path, int size, const char *tail)
{
    char directory[DIRECTORY_SIZE];
    working_directory(directory, sizeof directory);
    const size_t length = strlen(directory);
    const bool ends = length > 0 && is_separator(directory[length - 1]);
    const size_t begin = ends ? length : length + 1;
    const size_t tail_length = strlen(tail);
    if (length == 0 || begin + tail_length >= static_cast<size_t>(size)) {
        path[0] = '\0';
        return false;
    }
    memcpy(path, directory, length);
    if (!ends) {
        path[length] = '\\';
    }
    memcpy(path + begin, tail, tail_length + 1);
    return true;
}

ShellPath shell_path(const char *path)
{
    ShellPath shown;
    const size_t length = copy_text(shown.text, sizeof shown.text, path);
    std::replace(shown.text, shown.text + length, '\\', '/');
    return shown;
}

int does_file_exist(const char *path)
{
    return file_is_there(path) ? 1 : 0;
}
