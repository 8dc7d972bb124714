// The directories that the server needs and never makes.
#include "check/checks.h"

#include "check/findings.h"
#include "base/paths.h"
#include "platform/posix/name_lookup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace
{

struct NeededDirectory {
    const char *name;
    Severity severity;
    const char *otherwise; // what happens without it, or when it cannot be written to
};

constexpr NeededDirectory NEEDED[] = {
    {"DATA/RAW", FOUND_ERROR, "the server cannot write its settings"},
    {"LOGS", FOUND_ERROR, "the server writes no log file"},
    {"LOG", FOUND_WARNING, "the log file is never trimmed"},
    {"qlnemails", FOUND_ERROR, "the server can accept no message"},
    {"pending", FOUND_ERROR, "messages that begin with RCPT TO cannot be stored"},
    {"mailin", FOUND_ERROR, "messages that begin with RCPT TO cannot be stored"},
};

// Files the server writes to, once they are there.
constexpr NeededDirectory WRITTEN[] = {
    {"data/raw/qlnxserver.dat", FOUND_ERROR, "the server cannot write its settings"},
    {"LOGS/QLNSMTP.TXT", FOUND_ERROR, "the server writes no log file"},
};

std::string on_disk(const char *name)
{
    char path[PATH_SIZE];
    path_below(path, sizeof path, name);
    return existing_path(path);
}

// For the user that the check runs as.
bool may(const std::string &path, int access)
{
    return faccessat(AT_FDCWD, path.c_str(), access, AT_EACCESS) == 0;
}

void check_directory(const NeededDirectory &directory)
{
    std::string path = on_disk(directory.name);
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        report(directory.severity, directory.name, 0, "is missing: %s",
               directory.otherwise);
    else if (!S_ISDIR(status.st_mode))
        report(directory.severity, directory.name, 0, "is no directory: %s",
               directory.otherwise);
    else if (!may(path, R_OK | W_OK | X_OK))
        report(directory.severity, directory.name, 0, "cannot be written to: %s",
               directory.otherwise);
}

} // namespace

void check_directories()
{
    for (const NeededDirectory &directory : NEEDED)
        check_directory(directory);

    for (const NeededDirectory &file : WRITTEN) {
        std::string path = on_disk(file.name);
        if (may(path, F_OK) && !may(path, W_OK))
            report(file.severity, file.name, 0, "cannot be written to: %s",
                   file.otherwise);
    }
}
