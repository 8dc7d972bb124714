// The names and passwords that clients log in with.
#include "check/checks.h"

#include "base/paths.h"
#include "base/settings.h"
#include "check/findings.h"
#include "check/list_file.h"
#include "platform/access.h"
#include "smtp/credentials.h"

#include <charconv>
#include <cmath>
#include <map>
#include <string>

namespace
{

// A hash that is made faster than this is guessed fast, too; one that takes longer than
// the others holds up everybody at each login.
constexpr double WEAK = 0.5; // milliseconds
constexpr double SLOW = 10;
constexpr double VERY_SLOW = 100;

int number_at(std::string_view text)
{
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

// How many times a cost has been doubled, as some kinds write it in one character.
int doublings(char c)
{
    constexpr std::string_view DIGITS =
        "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return static_cast<int>(DIGITS.find(c) % DIGITS.size());
}

// What one hash takes, in milliseconds as measured on one machine, from what follows the
// name of its kind.
double sha512_time(std::string_view rest)
{
    constexpr std::string_view ROUNDS = "rounds=";
    const bool told = rest.starts_with(ROUNDS);
    return 1.3 * (told ? number_at(rest.substr(ROUNDS.size())) : 5000) / 5000;
}

double bcrypt_time(std::string_view rest)
{
    return 206 * exp2(number_at(rest.substr(rest.starts_with('0'))) - 12);
}

double yescrypt_time(std::string_view rest)
{
    return rest.size() > 1 ? 18 * exp2(doublings(rest[1]) - 11) : 0;
}

double scrypt_time(std::string_view rest)
{
    return rest.empty() ? 0 : 112 * exp2(doublings(rest[0]) - 14);
}

double no_time(std::string_view /*rest*/)
{
    return 0;
}

struct HashKind {
    std::string_view prefix;
    size_t digest; // characters after the last `$`
    double (*time)(std::string_view rest);
};

constexpr HashKind KINDS[] = {
    {"$6$", 86, sha512_time},    {"$5$", 43, sha512_time},  {"$y$", 43, yescrypt_time},
    {"$gy$", 43, yescrypt_time}, {"$7$", 43, scrypt_time},  {"$2b$", 53, bcrypt_time},
    {"$2a$", 53, bcrypt_time},   {"$2y$", 53, bcrypt_time}, {"$1$", 22, no_time},
    {"$md5", 22, no_time},       {"$sha1$", 28, no_time},   {"$3$", 32, no_time},
};

const HashKind *kind_of(std::string_view hash)
{
    for (const HashKind &kind : KINDS) {
        if (hash.starts_with(kind.prefix)) {
            return &kind;
        }
    }
    return nullptr;
}

void check_time(const HashKind &kind, const LoginLine &login, int line)
{
    const std::string name(login.name);
    const double time = kind.time(login.hash.substr(kind.prefix.size()));
    if (time < WEAK) {
        report(FOUND_WARNING, LOGINS_FILE, line,
               "[%s] has a weak hash: whoever reads it soon has the password",
               name.c_str());
    } else if (time >= SLOW) {
        report(time < VERY_SLOW ? FOUND_NOTE : FOUND_WARNING, LOGINS_FILE, line,
               "[%s] has a slow hash: everybody waits about %.0f ms when it logs in",
               name.c_str(), time);
    }
}

// Why nobody can log in with the line; null when somebody can. The hash is never shown.
const char *trouble_with(const LoginLine &login)
{
    if (login.name.starts_with("\xEF\xBB\xBF")) {
        return "it begins with a byte order mark";
    }
    if (!login_is_open(login)) {
        return "its hash does not begin with `$`";
    }
    const HashKind *kind = kind_of(login.hash);
    if (kind == nullptr) {
        return "its hash is of no known kind";
    }
    const bool whole = login.hash.size() - login.hash.rfind('$') - 1 == kind->digest;
    return whole ? nullptr : "its hash is cut off or has something after it";
}

// Whether somebody can log in with the line.
bool check_login(const LoginLine &login, int line, std::map<std::string, int> *seen)
{
    const std::string name(login.name);
    const auto [first, is_new] = seen->emplace(name, line);
    const char *trouble = trouble_with(login);
    if (login.name.empty()) {
        report(FOUND_WARNING, LOGINS_FILE, line, "can match nobody: there is no name");
    } else if (!is_new) {
        report(FOUND_WARNING, LOGINS_FILE, line,
               "[%s] is never looked at: line %d has the name, too", name.c_str(),
               first->second);
    } else if (login.hash.starts_with('!') || login.hash.starts_with('*')) {
        report(FOUND_NOTE, LOGINS_FILE, line, "[%s] is locked", name.c_str());
    } else if (trouble != nullptr) {
        report(FOUND_WARNING, LOGINS_FILE, line, "[%s] can never log in: %s",
               name.c_str(), trouble);
    } else {
        check_time(*kind_of(login.hash), login, line);
        return true;
    }
    return false;
}

// How many lines somebody can log in with. A line without a colon may be a password or a
// hash: it is not shown.
int check_lines(const ListFile &file)
{
    std::map<std::string, int> seen;
    std::string_view rest = file.content;
    LoginLine login;
    int useful = 0;
    for (int line = 1; next_login(&rest, &login); line++) {
        if (login.hash.data() != nullptr) {
            useful += check_login(login, line, &seen) ? 1 : 0;
        } else if (!login.name.empty()) {
            report(FOUND_WARNING, file.name, line,
                   "can match nobody: there is no colon after the name");
        }
    }
    return useful;
}

} // namespace

void check_logins()
{
    const bool asked = read_setting(SETTING_ESMTP) != 0;
    if (!asked && read_setting(SETTING_SMTPAUTHENTICATION) != 0) {
        report(FOUND_WARNING, SETTINGS_FILE, 0,
               "SMTPAUTHENTICATION=1 without ESMTP=1: no stock client can log in");
    }
    const ListFile file =
        read_list_file(LOGINS_FILE, "nobody can log in while ESMTP is set",
                       severity_in_list(SETTING_ESMTP, FOUND_ERROR));
    if (!file.there) {
        if (asked) {
            report(FOUND_WARNING, file.name, 0, "is missing: any password is taken");
        }
        return;
    }
    if (everybody_may_read(file.name)) {
        report(FOUND_WARNING, file.name, 0,
               "every user of this machine may read it (chmod o= takes that away)");
    }
    if (file.content.data() != nullptr && check_lines(file) == 0) {
        report(severity_in_list(SETTING_ESMTP, FOUND_ERROR), file.name, 0,
               "has no line that somebody can log in with");
    }
}
