#include "core/paths.h"

#include "core/text.h"

#include "platform/files.h"

#include <cstring>

bool path_below(char *path, int size, const char *tail)
{
    char directory[PATH_SIZE];
    working_directory(directory, sizeof directory);
    const size_t length = strlen(directory);
    const bool ends = length > 0 && is_separator(directory[length - 1]);
    const char *gap = ends ? "" : "\\";
    if (length == 0 ||
        length + strlen(gap) + strlen(tail) >= static_cast<size_t>(size)) {
        path[0] = '\0';
        return false;
    }
    format_text(path, static_cast<size_t>(size), "%s%s%s", directory, gap, tail);
    return true;
}

int does_file_exist(const char *path)
{
    return file_is_there(path) ? 1 : 0;
}
