#include "check/list_file.h"

#include "check/findings.h"
#include "base/paths.h"
#include "platform/file_contents.h"

#include <algorithm>

ListFile read_list_file(const char *name)
{
    char path[PATH_SIZE];
    path_below(path, sizeof path, name);

    ListFile file = {name, {}, does_file_exist(path) == 1};
    FileContents contents = file_contents(path);
    if (contents.bytes != nullptr)
        file.content = {contents.bytes, contents.size};
    else if (file.there)
        report(FOUND_ERROR, name, 0, "is there, but cannot be read");
    return file;
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
