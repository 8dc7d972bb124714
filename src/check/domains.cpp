// What the lines of the domains file amount to: each is looked up as the domain of an
// address that a client sends.
#include "check/checks.h"

#include "base/paths.h"
#include "base/settings.h"
#include "base/text.h"
#include "check/findings.h"
#include "check/list_file.h"
#include "spool/address.h"
#include "spool/domains.h"

#include <algorithm>
#include <string>

namespace
{

constexpr size_t LONGEST_DOMAIN = 507; // of an address that is taken

// The domain under which an address of this one is looked up.
std::string looked_up(const std::string &domain)
{
    char bad[BAD_CHARACTERS_SIZE];
    read_setting_text(SETTING_BADADDRCHARS, bad, sizeof bad);
    std::string address = "x@" + domain;
    clean_address_of(address.data(), bad);
    const char *found = domain_of(address.c_str());
    return found != nullptr ? found : "";
}

// Why no address that a client really has comes down to the entry; null when one does.
const char *why_unheard_of(const std::string &entry)
{
    if (entry.starts_with("\xEF\xBB\xBF")) {
        return "it begins with a byte order mark";
    }
    if (entry.find('@') != std::string::npos) {
        return "a domain stands without its `@`";
    }
    if (entry.find('*') != std::string::npos) {
        return "a `*` stands for nothing but itself";
    }
    if (entry.size() > LONGEST_DOMAIN) {
        return "it is longer than a client's address may be";
    }
    const bool control = std::any_of(
        entry.begin(), entry.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; });
    return control ? "it has a tab or another control character in it" : nullptr;
}

// What stands after a line's last comma, when it looks like a domain.
std::string domain_after_comma(std::string_view rest)
{
    const std::string_view after = rest.substr(0, rest.find_first_of("\r\n"));
    std::string text(
        after.substr(std::min(after.find_first_not_of(" \t"), after.size())));
    const bool is_name =
        text.find('.') != std::string::npos &&
        text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                               "0123456789-.") == std::string::npos &&
        text.find_first_not_of("0123456789.") != std::string::npos;
    return is_name ? text : "";
}

// Whether the entry means a domain that somebody can have; says so when it does not.
bool check_entry(const ListFile &file, int line, std::string_view entry)
{
    std::string domain(entry.substr(0, entry.find_first_of("\r\n")));
    if (domain.empty()) {
        return false;
    }
    if (domain.size() != entry.size()) {
        report(FOUND_WARNING, file.name, line,
               "[%s] never matches: there is no comma after the domain", domain.c_str());
        return false;
    }
    if (const char *why = why_unheard_of(domain)) {
        report(FOUND_WARNING, file.name, line, "[%s] never matches: %s", domain.c_str(),
               why);
        return false;
    }
    const std::string found = looked_up(domain);
    if (!equal_ignoring_case(found.c_str(), domain.c_str())) {
        const bool several = domain.find(',') != std::string::npos;
        report(FOUND_WARNING, file.name, line,
               "[%s]%s never matches: it is looked up as [%s]", domain.c_str(),
               several ? ", all before the last comma," : "", found.c_str());
        return false;
    }
    return true;
}

// An empty entry means the empty domain.
void report_empty(const ListFile &file, int line, std::string_view entry)
{
    const bool asked = read_setting(SETTING_USEDOMAINS) != 0;
    const bool at_end = entry.data() == file.content.data() + file.content.size();
    report(asked ? FOUND_WARNING : FOUND_NOTE, file.name, line,
           at_end ? "the line end at the end of the file lets the empty domain in, as in "
                    "`spam@`: take it away"
                  : "no domain stands before the comma, which lets the empty domain in, "
                    "as in `spam@`");
}

void check_entries(const ListFile &file)
{
    LineCounter lines = count_lines(file);
    DomainScan scan{file.content, false};
    std::string_view entry;
    int useful = 0;
    while (next_domain(&scan, &entry)) {
        const int line = line_of(&lines, entry.data());
        if (entry.empty() && !file.content.empty()) {
            report_empty(file, line, entry);
        }
        useful += check_entry(file, line, entry) ? 1 : 0;

        const char *end = entry.data() + entry.size();
        const auto at = static_cast<size_t>(end - file.content.data());
        if (at < file.content.size() && *end == ',') {
            const std::string second = domain_after_comma(file.content.substr(at + 1));
            if (!second.empty()) {
                report(FOUND_WARNING, file.name, line,
                       "[%s], after the last comma, is not looked at: each domain needs "
                       "a line of its own",
                       second.c_str());
            }
        }
    }
    if (useful == 0) {
        report(severity_in_list(SETTING_USEDOMAINS, FOUND_ERROR), file.name, 0,
               "has no line that means a domain: no message is accepted while "
               "USEDOMAINS is set");
    }
}

} // namespace

void check_domains()
{
    const bool asked = read_setting(SETTING_USEDOMAINS) != 0;
    const ListFile file =
        read_list_file(DOMAINS_FILE, "every domain is accepted while USEDOMAINS is set",
                       severity_in_list(SETTING_USEDOMAINS, FOUND_ERROR));
    if (!file.there) {
        if (asked) {
            report(FOUND_WARNING, file.name, 0, "is missing: every domain is accepted");
        }
    } else if (file.content.data() == nullptr) {
        return; // it cannot be read
    } else if (asked || !file.content.empty()) {
        check_entries(file);
    }
}
