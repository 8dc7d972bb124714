#include "spool/domains.h"

#include "base/paths.h"
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

constexpr size_t LINE_PIECE = 511; // bytes of a line read at a time

// The entries of the file's present version, in lower case.
struct DomainTable {
    uint64_t version = 0;
    std::unordered_set<std::string> entries;
};

DomainTable table;

DomainTable read_domains(std::string_view text, uint64_t version)
{
    DomainTable domains;
    domains.version = version;
    DomainScan scan{text, false};
    std::string_view entry;
    while (next_domain(&scan, &entry)) {
        domains.entries.insert(lower_case_of(entry));
    }
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

bool next_domain(DomainScan *scan, std::string_view *entry)
{
    if (scan->ended) {
        return false;
    }
    const size_t feed = scan->rest.find('\n');
    const size_t line = feed == std::string_view::npos ? scan->rest.size() : feed + 1;
    const size_t length = std::min(line, LINE_PIECE);
    std::string_view text = scan->rest.substr(0, length);
    // At the end of the file one more read leaves an empty line, unless the one before
    // has met the end.
    scan->ended =
        length == scan->rest.size() && length < LINE_PIECE && !text.ends_with('\n');
    scan->rest.remove_prefix(length);

    text = text.substr(0, text.find('\0'));
    *entry = text.substr(0, text.rfind(','));
    return true;
}
