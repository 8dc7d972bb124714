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
    const char *name;
    Severity severity;
    const char *otherwise; // what happens without it, or when it cannot be written to
};

constexpr NeededPath NEEDED[] = {
    {"DATA/RAW", FOUND_ERROR, "the server cannot write its settings"},
    {"LOGS", FOUND_ERROR, "the server writes no log file"},
    {"LOG", FOUND_WARNING, "the log file is never trimmed"},
    {SPOOL_MAIL, FOUND_ERROR, "the server can accept no message"},
    {SPOOL_PENDING, FOUND_ERROR, "messages that begin with RCPT TO cannot be stored"},
    {SPOOL_MAIL_IN, FOUND_ERROR, "messages that begin with RCPT TO cannot be stored"},
};

// Files the server writes to, once they are there.
constexpr NeededPath WRITTEN[] = {
    {SETTINGS_FILE, FOUND_ERROR, "the server cannot write its settings"},
    {LOG_FILE, FOUND_ERROR, "the server writes no log file"},
    {TRIM_FILE, FOUND_WARNING, "the log file is never trimmed"},
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

} // namespace

const char *why_not_writable(const char *directory)
{
    switch (path_kind(directory)) {
    case PATH_MISSING:
        return "is missing";
    case PATH_DIRECTORY:
        return path_allows(directory, MAY_READ | MAY_WRITE | MAY_SEARCH)
                   ? nullptr
                   : "cannot be written to";
    default:
        return "is no directory";
    }
}

void check_directories()
{
    for (const NeededPath &directory : NEEDED) {
        if (const char *why = why_not_writable(directory.name)) {
            report(directory.severity, directory.name, 0, "%s: %s", why,
                   directory.otherwise);
        }
    }
    for (const NeededPath &file : WRITTEN) {
        if (path_kind(file.name) != PATH_MISSING && !path_allows(file.name, MAY_WRITE)) {
            report(file.severity, file.name, 0, "cannot be written to: %s",
                   file.otherwise);
        }
    }
    std::set<std::string> checked;
    for (const char *path : LOOKED_UP) {
        check_twins(path, &checked);
    }
}
