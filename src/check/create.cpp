// A new installation directory: what the server needs and never makes itself.
#include "check/checks.h"

#include "check/example_files.h"
#include "check/findings.h"
#include "platform/files.h"

#include <cstdio>

namespace
{

constexpr const char *DIRECTORIES[] = {"DATA",      "DATA/RAW", "LOGS",  "LOG",
                                       "qlnemails", "pending",  "mailin"};

void tell(const char *path, bool made)
{
    if (made) {
        printf("made %s\n", path);
    } else {
        report(FOUND_ERROR, path, 0, "cannot be made: %s", file_failure());
    }
}

// What is there stays as it is, whatever the case of its letters.
void make_directory(const char *path)
{
    if (!file_is_there(path)) {
        tell(path, directory_make(path));
    }
}

void make_file(const ExampleFile &file)
{
    if (!file_is_there(file.path)) {
        tell(file.path, file_put(file.path, FILE_EMPTY, file.bytes, file.size));
    }
}

} // namespace

int create_installation()
{
    for (const char *directory : DIRECTORIES) {
        make_directory(directory);
    }
    for (const ExampleFile &file : EXAMPLE_FILES) {
        make_file(file);
    }
    return exit_status();
}
