#include "smtp/credentials.h"

#include "base/paths.h"
#include "platform/file_contents.h"
#include "platform/secrets.h"

namespace
{

constexpr size_t HASH_SIZE = 384; // the longest that crypt(3) makes, with its NUL

// The hash of the name's first line, or of the first open line when that one is locked or
// there is none: nobody shall learn from the time an answer takes which names there are.
struct FoundHash {
    bool counts; // the right password opens it
    std::string_view hash;
};

FoundHash find_hash(std::string_view file, std::string_view name)
{
    std::string_view first;
    std::string_view own;
    bool found = false;
    LoginLine line;
    while (next_login(&file, &line)) {
        const bool open = login_is_open(line);
        if (open && first.empty()) {
            first = line.hash;
        }
        if (!found && line.name == name) {
            found = true;
            own = open ? line.hash : std::string_view{};
        }
    }
    return own.empty() ? FoundHash{false, first} : FoundHash{true, own};
}

} // namespace

bool next_login(std::string_view *rest, LoginLine *line)
{
    if (rest->empty()) {
        return false;
    }
    const size_t feed = rest->find('\n');
    std::string_view text = rest->substr(0, feed);
    rest->remove_prefix(feed == std::string_view::npos ? rest->size() : feed + 1);
    if (text.ends_with('\r')) {
        text.remove_suffix(1);
    }
    const size_t colon = text.find(':');
    line->name = text.substr(0, colon);
    line->hash =
        colon != std::string_view::npos ? text.substr(colon + 1) : std::string_view{};
    return true;
}

bool login_is_open(const LoginLine &line)
{
    return line.hash.starts_with('$') && line.hash.size() < HASH_SIZE;
}

LoginVerdict judge_login(std::string_view name, const char *password)
{
    const FileContents logins = file_contents(LOGINS_FILE);
    if (logins.missing) {
        return LOGIN_ACCEPTED;
    }
    if (logins.error != nullptr) {
        return LOGIN_NOT_JUDGED; // whatever the file held before
    }
    const FoundHash found = find_hash({logins.bytes, logins.size}, name);
    char hash[HASH_SIZE];
    hash[found.hash.copy(hash, sizeof hash - 1)] = '\0';
    const bool matches = hash[0] != '\0' && password_matches(password, hash);
    return found.counts && matches ? LOGIN_ACCEPTED : LOGIN_REFUSED;
}
