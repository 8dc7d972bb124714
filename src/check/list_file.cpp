#include "check/list_file.h"

#include "base/paths.h"
#include "base/settings.h"
#include "platform/access.h"
#include "platform/file_contents.h"

#include <algorithm>

ListFile read_list_file(const char *name, const char *otherwise, Severity unreadable)
{
    char path[PATH_SIZE];
    path_below(path, sizeof path, name);

    ListFile file = {name, {}, does_file_exist(path) == 1};
    const FileContents contents = file_contents(path);
    if (contents.bytes != nullptr) {
        file.content = {contents.bytes, contents.size};
    }
    const char *why = contents.error;
    if (why == nullptr && file.there && !path_allows(path, MAY_READ)) {
        why = "this user may not";
    }
    if (why != nullptr) {
        report(unreadable, name, 0, "cannot be read (%s): %s", why, otherwise);
    }
    return file;
}

Severity severity_in_list(Setting setting, Severity severity)
{
    return read_setting(setting) != 0 ? severity : std::min(severity, FOUND_WARNING);
}

LineCounter count_lines(const ListFile &file)
{
    return {file.content.data(), 1};
}

int line_of(LineCounter *counter, const char *place)
{
    counter->line += static_cast<int>(std::count(counter->at, place, '\n'));
    counter->at = place;
    return counter->line;
}
