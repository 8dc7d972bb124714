#include "spool/domains.h"

#include "base/session.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/file_contents.h"
#include "spool/address.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <unordered_set>

namespace
{

constexpr char DOMAINS_FILE[] = "DATA\\RAW\\DOMAIN.DAT"; // below the working directory
constexpr size_t LINE_PIECE = 511;                       // bytes read at a time

// The entries of the file's present version, in lower case.
struct DomainTable {
    uint64_t version = 0;
    std::unordered_set<std::string> entries;
};

DomainTable table;

// What of a line is compared: the text before its last comma, or all of it with its line
// ending, so that a line without a comma matches only at the very end of the file.
void add_entry(DomainTable *domains, std::string_view line)
{
    line = line.substr(0, line.find('\0'));
    domains->entries.insert(lower_case_of(line.substr(0, line.rfind(','))));
}

DomainTable read_domains(std::string_view text, uint64_t version)
{
    DomainTable domains;
    domains.version = version;
    while (!text.empty()) {
        const size_t feed = text.find('\n');
        const size_t line = feed == std::string_view::npos ? text.size() : feed + 1;
        const size_t length = std::min(line, LINE_PIECE);
        const bool reached_end =
            length == text.size() && length < LINE_PIECE && text.back() != '\n';
        add_entry(&domains, text.substr(0, length));
        text.remove_prefix(length);
        if (reached_end) {
            return domains;
        }
    }
    add_entry(&domains, {}); // the read at the end of the file leaves an empty line
    return domains;
}

// Without memory for it the table stays as it is, and the next use tries again.
void bring_up_to_date(const FileContents &contents)
{
    try {
        table = read_domains({contents.bytes, contents.size}, contents.version);
    } catch (const std::bad_alloc &) {
        log_stamped(WEIGHT_FAILURE, "SMTP: Out of memory");
    }
}

} // namespace

int domain_is_accepted(const char *domain)
{
    const FileContents contents = file_contents(DOMAINS_FILE);
    if (contents.bytes == nullptr) {
        log_line(WEIGHT_FAILURE, "Unable to open Domains file to validate...");
        return 1;
    }
    if (contents.version != table.version) {
        bring_up_to_date(contents);
    }
    return table.entries.contains(lower_case_of(domain)) ? 1 : 0;
}

const char *domain_of(const char *address)
{
    const char *at_sign = strchr(address, '@');
    return at_sign != nullptr ? at_sign + 1 : nullptr;
}

void check_domain(ClientSession *session, const char *whose, char *address)
{
    if (read_setting(SETTING_USEDOMAINS) == 0 || session->domainAccepted) {
        return;
    }
    clean_address(address);
    const char *domain = domain_of(address);
    if (domain == nullptr) {
        return;
    }
    session->domainAccepted = domain_is_accepted(domain) != 0;
    log_stamped("SMTP: DOMAIN CHECKING - %s domain [%s] %s", whose, domain,
                session->domainAccepted ? "ACCEPTED" : "NOT accepted...");
}
