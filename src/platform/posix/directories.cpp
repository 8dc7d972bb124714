// Directories and their names.

#include "platform/files.h"

#include "platform/posix/name_lookup.h"

#include <dirent.h>

void directory_names(const char *path, bool (*tell)(const char *name, void *context),
                     void *context)
{
    DIR *entries = opendir(existing_path(path).c_str());
    if (entries == nullptr) {
        return;
    }
    const dirent *entry = nullptr;
    do {
        entry = readdir(entries);
    } while (entry != nullptr && tell(entry->d_name, context));
    closedir(entries);
}
