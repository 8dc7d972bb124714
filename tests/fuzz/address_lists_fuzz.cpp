// Either address list, read by the server and line by line as texts: the same answer, and
// nothing read beyond it. Input: a byte for the list, four for the client, the content.
#include "admission/address_list.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using std::string;
using Parts = std::vector<string>; // empty: malformed

static string trimmed(string text)
{
    text.erase(0, text.find_first_not_of(' '));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

static Parts dotted(string text)
{
    Parts parts;
    for (size_t dot; parts.size() < 3 && (dot = text.find('.')) != string::npos;
         text.erase(0, dot + 1))
        parts.push_back(text.substr(0, dot));
    parts.push_back(text);
    return parts.size() < 4 || text.empty() ? Parts{} : parts;
}

// Where either has an asterisk, as in "..**".
static string stars(const Parts &one, const Parts &other)
{
    string set;
    for (size_t i = 0; i < 4; i++)
        set += one[i] == "*" || other[i] == "*" ? '*' : '.';
    return set;
}

static bool compared(const string &set, size_t i, bool wild)
{
    return !wild || (set[i] == '.' && (set == "..*." || set == "...*" || set == "..**"));
}

// 1 match, 0 none, -1 malformed. `line` becomes what the log shows.
static int range(const Octets &client, string *line, bool wild)
{
    Parts low = dotted(*line);
    if (low.empty() || low[3].find('-') == string::npos)
        return -1;
    size_t upper = line->find('-', line->size() - low[3].size()) + 1;
    *line = line->substr(0, upper) + trimmed(line->substr(upper));
    Parts high = dotted(line->substr(upper));
    low[3].erase(low[3].find('-'));
    if (high.empty() || low[3].size() > 3)
        return high.empty() ? -1 : 0;
    low[3] = trimmed(low[3]);
    for (size_t i = 0; i < 4; i++)
        if (low[i].size() > 3 || high[i].size() > 3 ||
            (compared(stars(low, low), i, wild) &&
             client[i] < std::atoi(low[i].c_str())) ||
            (compared(stars(low, high), i, wild) &&
             client[i] > std::atoi(high[i].c_str())))
            return 0;
    return 1;
}

static int wildcard(const Octets &client, const Parts &parts, bool accepted)
{
    const string together = "**** *... .*.. ..*. ...* **.. ***. ..** .***";
    if (parts.empty())
        return -1;
    string set = stars(parts, parts);
    if (accepted ? together.find(set) == string::npos
                 : std::count(set.begin(), set.end(), '*') > 1)
        return 0;
    for (size_t i = 0; i < 4; i++)
        if (set[i] == '.' &&
            (accepted ? parts[i].size() > 3 || std::atoi(parts[i].c_str()) != client[i]
                      : parts[i] != std::to_string(client[i])))
            return 0;
    return 1;
}

static string plain_answer(bool accepted, string content, const Octets &client)
{
    content = content.substr(0, accepted ? content.find('\0') : string::npos);
    bool star = false;
    while (content.size() > accepted && !(accepted && star)) {
        size_t end = std::min(content.find(accepted ? '\r' : '\n'), content.size());
        string line = content.substr(0, accepted ? end : end + 1);
        content.erase(0, accepted ? end + 2 : end + 1);
        bool too_long = line.size() > 255;
        line = line.substr(0, line.find_first_of(string("\r\0", 2)));
        if (line.empty())
            break;
        if (accepted && line[0] == ';')
            continue;
        star = line.find('*') != string::npos;
        int result = too_long ? 0
                     : line.find('-') != string::npos && (accepted || !star)
                         ? range(client, &line, star)
                         : wildcard(client, dotted(line), accepted && star);
        if (result > 0 || (result < 0 && line.find_first_of("*-") != string::npos))
            return result > 0 ? line : "broken off";
    }
    return "nobody";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 5)
        return 0;
    AddressList list = data[0] % 2 == 0 ? ACCEPTED_LIST : BANNED_LIST;
    Octets client = {data[1], data[2], data[3], data[4]};
    const char *content = reinterpret_cast<const char *>(data) + 5;
    AddressTable table;
    AddressEntry entry;
    char given[ENTRY_TEXT_SIZE] = "nobody";
    if (build_table(&table, list, content, size - 5) &&
        find_entry(table, content, client, &entry))
        entry_text(entry, given);
    else if (table.ending == SCAN_AT_MALFORMED)
        std::snprintf(given, sizeof given, "broken off");
    string expected = plain_answer(list == ACCEPTED_LIST, {content, size - 5}, client);
    if (given != expected) {
        std::fprintf(stderr, "[%s], not [%s]\n", given, expected.c_str());
        std::abort();
    }
    return 0;
}
