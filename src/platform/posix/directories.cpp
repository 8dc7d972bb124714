#include "platform/files.h"

#include "platform/posix/name_lookup.h"

#include <dirent.h>
#include <sys/stat.h>

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

bool directory_make(const char *path)
{
    constexpr mode_t USER_AND_GROUP = 0770;
    return mkdir(path_for_new_name(native_path(path)).c_str(), USER_AND_GROUP) == 0;
}
