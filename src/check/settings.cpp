// The settings file, key by key.
#include "check/checks.h"

#include "check/findings.h"
#include "check/list_file.h"
#include "base/settings.h"
#include "platform/posix/profile_text.h"

#include <climits>
#include <string>

namespace
{

constexpr char SETTINGS_FILE[] = "data/raw/qlnxserver.dat";

enum SettingKind { A_TEXT, A_NUMBER };

struct KnownSetting {
    const char *section;
    const char *key;
    SettingKind kind;
    long lowest, highest; // of a number; of a text the length
};

constexpr long LONGEST_IDLE_TIME = INT_MAX / 1000; // seconds, measured in milliseconds
constexpr long LARGEST_LOG = 2047;                 // megabytes

constexpr KnownSetting KNOWN[] = {
    {SERVER_SECTION, "VERSION", A_TEXT, 0, 1023},
    {SERVER_SECTION, "BUILDDATE", A_TEXT, 0, 1023},
    {SERVER_SECTION, "HWND", A_TEXT, 0, 1023},
    {SERVER_SECTION, "port", A_NUMBER, 1, 65535},
    {SERVER_SECTION, "bind", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "IPADDR", A_TEXT, 0, 35},
    {SERVER_SECTION, "USESAMEIPADDRESS", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "SocketTimeout", A_NUMBER, 0, LONGEST_IDLE_TIME},
    {SERVER_SECTION, "SmtpTimeout", A_NUMBER, 0, INT_MAX},
    {SERVER_SECTION, "ACCEPTVALIDADDRESSONLY", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "SMTPIPBLOCK", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "FULLDETAIL", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "SMTPAUTHENTICATION", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "USEDOMAINS", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "usedomain", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "badaddrchars", A_TEXT, 0, 127},
    {SERVER_SECTION, "SYNCSPOOL", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "LOGONLY", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "MINSIZE", A_NUMBER, 0, LARGEST_LOG},
    {SERVER_SECTION, "MAXSIZE", A_NUMBER, 0, LARGEST_LOG},
    {SERVER_SECTION, "TOP", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "LEFT", A_NUMBER, INT_MIN, INT_MAX},
    {SERVER_SECTION, "ONTOP", A_NUMBER, INT_MIN, INT_MAX},
    {"TCPIP", "USESAMEIPADDRESS", A_NUMBER, INT_MIN, INT_MAX},
    {"SMTPSRV", "SHOWAUTHENTICATEDETAILS", A_NUMBER, INT_MIN, INT_MAX},
};

const KnownSetting *known_setting(const ProfileItem &item)
{
    for (const KnownSetting &known : KNOWN)
        if (profile_same_name(item.section, known.section) &&
            profile_same_name(item.key, known.key))
            return &known;
    return nullptr;
}

// Whether the whole text is blanks, a sign and digits.
bool is_number(std::string_view text)
{
    size_t at = text.find_first_not_of(" \t");
    if (at == std::string_view::npos)
        return false;
    if (text[at] == '-' || text[at] == '+')
        at++;
    return at < text.size() &&
           text.find_first_not_of("0123456789", at) == std::string_view::npos;
}

void check_value(const KnownSetting &known, const ProfileItem &item, int line)
{
    std::string value(item.value);
    if (known.kind == A_TEXT) {
        if (static_cast<long>(value.size()) > known.highest)
            report(FOUND_WARNING, SETTINGS_FILE, line,
                   "%s is longer than %ld characters and is cut", known.key,
                   known.highest);
        return;
    }

    int number = read_setting_of(known.section, known.key, 0);
    if (!is_number(value))
        report(FOUND_ERROR, SETTINGS_FILE, line, "%s=%s is not a number: it reads as %d",
               known.key, value.c_str(), number);
    else if (number < known.lowest || number > known.highest)
        report(FOUND_ERROR, SETTINGS_FILE, line, "%s=%s is out of range: %ld to %ld",
               known.key, value.c_str(), known.lowest, known.highest);
}

void check_log_sizes()
{
    int kept = read_setting("MINSIZE", 1);
    int largest = read_setting("MAXSIZE", 750);
    if (kept >= largest)
        report(FOUND_ERROR, SETTINGS_FILE, 0,
               "MINSIZE (%d) must be smaller than MAXSIZE (%d)", kept, largest);
}

} // namespace

void check_settings()
{
    ListFile file = read_list_file(SETTINGS_FILE);
    if (!file.there) {
        report(FOUND_WARNING, file.name, 0,
               "is missing: every setting has its default value");
        return;
    }

    LineCounter lines = count_lines(file);
    std::vector<ProfileItem> items = profile_items(file.content);
    for (const ProfileItem &item : items) {
        int line = line_of(&lines, item.key.data());
        if (const KnownSetting *known = known_setting(item)) {
            check_value(*known, item, line);
        } else if (profile_same_name(item.section, SERVER_SECTION)) {
            std::string key(item.key);
            report(FOUND_WARNING, file.name, line, "%s is not a setting of the server",
                   key.c_str());
        }
    }
    check_log_sizes();
}
