#include "platform/posix/working_directory.h"

#include <climits>
#include <cstring>
#include <unistd.h>

namespace
{

char directory[PATH_MAX];
size_t length;
bool known;

bool separates(char c)
{
    return c == '/' || c == '\\';
}

} // namespace

const char *current_directory()
{
    if (!known) {
        if (getcwd(directory, sizeof directory) == nullptr) {
            directory[0] = '\0';
        }
        length = strlen(directory);
        known = true;
    }
    return directory;
}

const char *below_current_directory(const char *path)
{
    if (length == 0 || strncmp(path, directory, length) != 0) {
        return path;
    }
    const char *rest = path + length;
    if (!separates(rest[0]) && !separates(rest[-1])) {
        return path; // another directory whose name begins like this one's
    }
    while (separates(rest[0])) {
        rest++;
    }
    return rest[0] != '\0' ? rest : path;
}

void current_directory_invalidate()
{
    known = false;
}
