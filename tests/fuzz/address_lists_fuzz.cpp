// Any content of either address list against any client: nothing is read beyond the
// content, and the answer is that of a plain reading of the list, line by line, which
// compares texts as texts and knows of no boxes and tables.
//
// Input: a byte that chooses the list, four bytes of the client's address, the content.
#include "admission/address_list.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace
{

using std::string;
using Parts = std::vector<string>; // empty: malformed

struct Answer {
    enum { NOBODY, BROKEN_OFF, MATCH } outcome = NOBODY;
    string line;
};

string trimmed(string text)
{
    while (!text.empty() && text[0] == ' ')
        text.erase(0, 1);
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

Parts dotted(string text, bool may_end_empty)
{
    Parts parts;
    for (int i = 0; i < 3; i++) {
        size_t dot = text.find('.');
        if (dot == string::npos)
            return {};
        parts.push_back(text.substr(0, dot));
        text = text.substr(dot + 1);
    }
    parts.push_back(text);
    return text.empty() && !may_end_empty ? Parts{} : parts;
}

bool any_long(const Parts &parts)
{
    return std::any_of(parts.begin(), parts.end(),
                       [](const string &part) { return part.size() > 3; });
}

std::vector<int> stars(const Parts &parts)
{
    std::vector<int> set;
    for (int i = 0; i < 4; i++)
        if (parts[static_cast<size_t>(i)] == "*")
            set.push_back(i + 1);
    return set;
}

int number(const string &text)
{
    return std::atoi(text.c_str());
}

// 1 match, 0 none, -1 malformed. `line` becomes what the log shows.
int range_matches(const Parts &client, string *line, bool wild)
{
    Parts low = dotted(*line, true);
    if (low.empty() || low[3].find('-') == string::npos)
        return -1;
    size_t dash = line->find('-', line->size() - low[3].size());
    string upper = trimmed(line->substr(dash + 1));
    low[3] = low[3].substr(0, low[3].find('-'));
    Parts high = dotted(upper, false);
    *line = line->substr(0, dash + 1) + upper;
    if (high.empty())
        return -1;
    if (any_long(low) || any_long(high))
        return 0;
    low[3] = trimmed(low[3]);

    std::vector<int> both = stars(low);
    for (int star : stars(high))
        if (std::find(both.begin(), both.end(), star) == both.end())
            both.push_back(star);
    std::sort(both.begin(), both.end());
    auto compared = [&](const std::vector<int> &set, int octet) {
        using Set = std::vector<int>;
        if (!wild)
            return true;
        if (set == Set{3})
            return octet != 3;
        if (set == Set{4})
            return octet != 4;
        return set == Set{3, 4} && octet < 3;
    };
    for (size_t i = 0; i < 4; i++) {
        int octet = static_cast<int>(i) + 1;
        if (compared(stars(low), octet) && number(client[i]) < number(low[i]))
            return 0;
        if (compared(both, octet) && number(client[i]) > number(high[i]))
            return 0;
    }
    return 1;
}

int accepted_wildcard(const Parts &client, const string &line)
{
    static const std::vector<std::vector<int>> together = {
        {1, 2, 3, 4}, {1}, {2}, {3}, {4}, {1, 2}, {1, 2, 3}, {3, 4}, {2, 3, 4}};
    Parts parts = dotted(line, false);
    if (parts.empty())
        return -1;
    if (any_long(parts) ||
        std::find(together.begin(), together.end(), stars(parts)) == together.end())
        return 0;
    for (size_t i = 0; i < 4; i++)
        if (parts[i] != "*" && number(parts[i]) != number(client[i]))
            return 0;
    return 1;
}

int banned_wildcard(const Parts &client, const string &line)
{
    Parts parts = dotted(line, false);
    if (parts.empty())
        return -1;
    auto star = std::find(parts.begin(), parts.end(), "*");
    if (star == parts.end())
        return 0;
    *star = client[static_cast<size_t>(star - parts.begin())];
    return parts == client;
}

// False behind the last line.
bool take_line(AddressList list, string *rest, string *line, bool *too_long)
{
    if (list == ACCEPTED_LIST) {
        size_t cr = rest->find('\r');
        if (cr == string::npos && (rest->size() < 2 || (*rest)[0] == ';'))
            return false;
        *line = rest->substr(0, cr);
        *too_long = line->size() > 255;
        *rest = cr == string::npos ? "" : rest->substr(std::min(cr + 2, rest->size()));
    } else {
        if (rest->empty())
            return false;
        *line = rest->substr(0, rest->find('\n') == string::npos ? string::npos
                                                                 : rest->find('\n') + 1);
        *rest = rest->substr(line->size());
        *too_long = line->size() > 255;
        *line = line->substr(0, line->find('\r'));
        *line = line->substr(0, line->find('\0'));
    }
    return !line->empty();
}

Answer plain_answer(AddressList list, string content, const string &address)
{
    Parts client = dotted(address, false);
    string line;
    bool too_long = false;
    if (list == ACCEPTED_LIST)
        content = content.substr(0, content.find('\0'));
    while (take_line(list, &content, &line, &too_long)) {
        bool star = line.find('*') != string::npos;
        bool dash = line.find('-') != string::npos;
        if (list == ACCEPTED_LIST && line[0] == ';')
            continue;

        int result = 0;
        if (too_long)
            result = 0;
        else if (list == BANNED_LIST && star)
            result = banned_wildcard(client, line);
        else if (dash)
            result = range_matches(client, &line, star);
        else if (star)
            result = accepted_wildcard(client, line);
        else
            result = line == address;

        if (result < 0)
            return {Answer::BROKEN_OFF, ""};
        if (result > 0)
            return {Answer::MATCH, line};
        if (list == ACCEPTED_LIST && star)
            break;
    }
    return {};
}

Answer server_answer(AddressList list, const std::vector<char> &content,
                     const string &address)
{
    Octets client;
    AddressTable table;
    AddressEntry entry;
    if (!read_address(address, &client) ||
        !build_table(&table, list, content.data(), content.size()))
        std::abort();
    if (find_entry(table, content.data(), client, &entry)) {
        char line[ENTRY_TEXT_SIZE];
        entry_text(entry, line);
        return {Answer::MATCH, line};
    }
    return {table.ending == SCAN_AT_MALFORMED ? Answer::BROKEN_OFF : Answer::NOBODY, ""};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 5)
        return 0;
    AddressList list = data[0] % 2 == 0 ? ACCEPTED_LIST : BANNED_LIST;
    char address[16];
    std::snprintf(address, sizeof address, "%d.%d.%d.%d", data[1], data[2], data[3],
                  data[4]);
    std::vector<char> content(data + 5, data + size); // ends where the content ends

    Answer expected = plain_answer(list, {content.begin(), content.end()}, address);
    Answer given = server_answer(list, content, address);
    if (given.outcome != expected.outcome || given.line != expected.line) {
        std::fprintf(stderr, "client %s: %d [%s], not %d [%s]\n", address, given.outcome,
                     given.line.c_str(), expected.outcome, expected.line.c_str());
        std::abort();
    }
    return 0;
}
