#include "spool/address.h"

#include "base/settings.h"
#include "base/text.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr char BAD_CHARACTERS_NOTED[] = "!#$%^&*{}'?+=`";

// Every step shortens the text in place.

void remove_all(char *text, char c)
{
    *std::remove(text, text + strlen(text), c) = '\0';
}

// The same, but for a text that consists of nothing else.
void remove_unless_all(char *text, char c)
{
    const char only[] = {c, '\0'};
    if (text[strspn(text, only)] != '\0') {
        remove_all(text, c);
    }
}

void keep_from(char *text, const char *from)
{
    memmove(text, from, strlen(from) + 1);
}

// Keeps what stands between the quoted sections and after the last one. With an odd
// number of quotes the text after the last goes too; a single quote is left alone.
void drop_quoted(char *text)
{
    const auto quotes = std::count(text, text + strlen(text), '"');
    if (quotes < 2) {
        return;
    }
    char *kept = text;
    long seen = 0;
    for (const char *at = text; *at != '\0'; at++) {
        if (*at == '"') {
            seen++;
        } else if (seen >= 2 && seen % 2 == 0) {
            *kept++ = *at;
        }
    }
    *kept = '\0';
}

bool is_control(char c)
{
    return (c > 0 && c < 32) || c == 127;
}

// Control characters go only from a text that has a space.
void drop_spaces_and_controls(char *text)
{
    if (strchr(text, ' ') == nullptr) {
        return;
    }
    char *end = std::remove_if(text, text + strlen(text),
                               [](char c) { return c == ' ' || is_control(c); });
    *end = '\0';
}

void change_case(char *text, char (*change)(char))
{
    std::transform(text, text + strlen(text), text, change);
}

void drop_mailto(char *text)
{
    constexpr char PREFIX[] = "MAILTO:";
    constexpr char BRACKETED[] = "<MAILTO:";
    if (const char *found = strstr(text, BRACKETED)) {
        keep_from(text + 1, found + sizeof BRACKETED - 1);
        text[0] = '<';
    }
    if (const char *found = strstr(text, PREFIX)) {
        keep_from(text, found + sizeof PREFIX - 1);
    }
}

void take_from_brackets(char *text)
{
    const char *open = strchr(text, '<');
    const char *first_close = strchr(text, '>');
    if (open == nullptr || first_close == nullptr || first_close < open) {
        return;
    }
    const auto length = static_cast<size_t>(first_close - open) - 1;
    memmove(text, open + 1, length);
    text[length] = '\0';
}

// A comment before the at sign loses its parentheses only; one after it is cut off.
void drop_comment(char *text)
{
    char *open = strchr(text, '(');
    const char *at_sign = strchr(text, '@');
    if (open != nullptr && at_sign != nullptr && open < at_sign) {
        remove_all(text, '(');
    } else if (open != nullptr) {
        *open = '\0';
    }
    remove_all(text, ')');
}

} // namespace

int clean_address(char *text)
{
    if (text[0] == '\0') {
        return 0;
    }
    char bad[BAD_CHARACTERS_SIZE];
    read_setting_text(SETTING_BADADDRCHARS, bad, sizeof bad);
    if (strcmp(bad, SETTING_ROWS[SETTING_BADADDRCHARS].text) == 0) {
        write_setting(SETTING_ENVIRONMENT_BADADDRCHARS, BAD_CHARACTERS_NOTED);
    }
    return clean_address_of(text, bad);
}

int clean_address_of(char *text, const char *bad_characters)
{
    if (text[0] == '\0') {
        return 0;
    }
    keep_from(text, text + strspn(text, " "));
    drop_quoted(text);
    drop_spaces_and_controls(text);
    change_case(text, upper_case);
    drop_mailto(text);
    take_from_brackets(text);
    remove_all(text, '<');
    remove_all(text, '`');
    remove_all(text, '>');
    drop_comment(text);
    remove_all(text, ',');
    remove_all(text, ';');
    remove_all(text, ':');
    for (const char *c = bad_characters; *c != '\0'; c++) {
        remove_unless_all(text, *c);
    }
    remove_unless_all(text, '\\');
    remove_unless_all(text, '~');
    change_case(text, lower_case);
    return 1;
}
