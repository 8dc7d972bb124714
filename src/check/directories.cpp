// What the server's user may do in the installation directory, and names that are there
// twice.
#include "check/checks.h"

#include "base/paths.h"
#include "base/text.h"
#include "check/findings.h"
#include "platform/access.h"
#include "platform/files.h"
#include "smtp/credentials.h"
#include "spool/spool_files.h"

#include <set>
#include <string>

namespace
{

struct NeededPath {
    const char *directory;
    const char *file; // the one that is written there; null: files of any name
    Severity severity;
    const char *otherwise; // what happens when that cannot be done
};

constexpr NeededPath NEEDED[] = {
    {"DATA/RAW", SETTINGS_FILE, FOUND_ERROR, "the server cannot write its settings"},
    {"LOGS", LOG_FILE, FOUND_ERROR, "the server writes no log file"},
    {"LOG", TRIM_FILE, FOUND_WARNING, "the log file is never trimmed"},
    {SPOOL_MAIL, nullptr, FOUND_ERROR, "the server can accept no message"},
    {SPOOL_PENDING, nullptr, FOUND_ERROR,
     "messages that begin with RCPT TO cannot be stored"},
    {SPOOL_MAIL_IN, nullptr, FOUND_ERROR,
     "messages that begin with RCPT TO cannot be stored"},
};

constexpr const char *LOOKED_UP[] = {
    SETTINGS_FILE, USERS_FILE, DOMAINS_FILE, ACCEPTED_FILE, BANNED_FILE,  LOGINS_FILE,
    LOG_FILE,      TRIM_FILE,  SPOOL_MAIL,   SPOOL_PENDING, SPOOL_MAIL_IN};

struct NameCount {
    const char *name;
    int count;
};

bool count_name(const char *name, void *context)
{
    auto *wanted = static_cast<NameCount *>(context);
    wanted->count += equal_ignoring_case(name, wanted->name) ? 1 : 0;
    return true;
}

std::string upper_case_of(std::string text)
{
    for (char &c : text) {
        c = upper_case(c);
    }
    return text;
}

// Each name of the path, in the directory before it.
void check_twins(const std::string &path, std::set<std::string> *checked)
{
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('/', begin), path.size());
        const std::string directory = begin == 0 ? "." : path.substr(0, begin - 1);
        const std::string name = path.substr(begin, end - begin);
        const std::string whole = upper_case_of(path.substr(0, end));
        NameCount twins{name.c_str(), 0};
        if (checked->insert(whole).second) {
            directory_names(directory.c_str(), count_name, &twins);
        }
        if (twins.count > 1) {
            report(FOUND_WARNING, whole.c_str(), 0,
                   "is there %d times in different letter case: the server looks at one "
                   "of them only",
                   twins.count);
        }
        begin = end + 1;
    }
}

// A file that is there is written in place where its directory allows no other.
void check_needed(const NeededPath &needed)
{
    const bool file_is_there =
        needed.file != nullptr && path_kind(needed.file) != PATH_MISSING;
    const char *why = why_not_usable(needed.directory, file_is_there ? 0 : MAY_WRITE);
    if (why != nullptr) {
        report(needed.severity, needed.directory, 0, "%s: %s", why, needed.otherwise);
    } else if (file_is_there && !path_allows(needed.file, MAY_READ | MAY_WRITE)) {
        report(needed.severity, needed.file, 0, "cannot be written to: %s",
               needed.otherwise);
    }
}

} // namespace

const char *why_not_usable(const char *directory, unsigned wanted)
{
    switch (path_kind(directory)) {
    case PATH_MISSING:
        return "is missing";
    case PATH_DIRECTORY:
        if (!path_allows(directory, MAY_READ | MAY_SEARCH)) {
            return "cannot be read";
        }
        return path_allows(directory, MAY_READ | MAY_SEARCH | wanted)
                   ? nullptr
                   : "cannot be written to";
    default:
        return "is no directory";
    }
}

void check_directories()
{
    for (const NeededPath &needed : NEEDED) {
        check_needed(needed);
    }
    for (const char *directory : SPOOL_DIRECTORIES) {
        if (!spool_names_fit(directory)) {
            report(FOUND_ERROR, directory, 0,
                   "its path is too long for spool files, which have 259 characters at "
                   "most");
        }
    }
    std::set<std::string> checked;
    for (const char *path : LOOKED_UP) {
        check_twins(path, &checked);
    }
}
