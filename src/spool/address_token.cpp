#include "spool/address_token.h"

#include "base/text.h"

#include <cassert>
#include <cstring>

bool take_address_token(const char *argument, char token[TOKEN_SIZE])
{
    size_t length = strlen(argument);
    if (strchr(argument, ' ') != nullptr) {
        argument += strspn(argument, " ");
        length = strcspn(argument, " ");
        if (length == 0) {
            return false;
        }
    } else if (const char *second = strchr(argument, ':')) {
        argument = second + 1;
        length = strlen(argument);
    }
    assert(length < TOKEN_SIZE);
    copy_text(token, length + 1, argument);
    return true;
}

int form_envelope_line(char *line, int size, const char *verb, const char *token)
{
    const bool bracketed = token[0] == '<';
    const int length =
        format_text(line, static_cast<size_t>(size), "%s: %s%s%s\r\n", verb,
                    bracketed ? "" : "<", token, bracketed ? "" : ">");
    const size_t needed = strlen(verb) + 4 + strlen(token) + (bracketed ? 0 : 2);
    return static_cast<size_t>(length) == needed ? length : -1;
}

void take_local_recipient(const char *token, char address[TOKEN_SIZE])
{
    copy_text(address, TOKEN_SIZE, token[0] == '<' ? token + 1 : token);
    if (token[0] == '<') {
        if (char *close = strrchr(address, '>')) {
            *close = '\0';
        }
    }
}

void take_recipient(const char *token, char *recipient, size_t size)
{
    size_t length = strlen(token);
    if (length > 0 && token[length - 1] == '>') {
        length--;
    }
    if (length > 0 && token[0] == '<') {
        token++;
        length--;
    }
    copy_text(recipient, length + 1 < size ? length + 1 : size, token);
}
