#include "smtp/engine.h"

#include "base/gateway.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "smtp/authentication.h"
#include "smtp/message.h"
#include "smtp/replies.h"
#include "smtp/simple_commands.h"
#include "spool/data_command.h"
#include "spool/mail_from.h"
#include "spool/rcpt_to.h"
#include "spool/spool_files.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cstring>
#include <string_view>

namespace
{

constexpr int COMMANDS_AT_ONCE = 4;

constexpr char UNRECOGNIZED[] = "Error command unrecognized";

// --- Greeting

void greet(ClientSession *session)
{
    char text[REPLY_SIZE];
    format_text(text, sizeof text,
                "[%s] Quillon email-to-fax SMTP server %s, Quillon email-to-fax SMTP "
                "service ready",
                gateway.host_name, PROGRAM_VERSION);
    session->state = SESSION_GREETED;
    send_directly(session, "220 ", text);
}

// --- Lines

// Adds one byte to the line. True when it ended the line: CR, LF and NUL each do, so the
// LF of a CR LF ends an empty line of its own.
bool add_to_line(ClientSession *session, char byte)
{
    assert(session->lineLength >= 0 && session->lineLength <= LINE_LIMIT);
    if (byte == '\r' || byte == '\n' || byte == '\0') {
        session->line[session->lineLength] = '\0';
        return true;
    }
    if (session->lineLength < LINE_LIMIT) {
        session->line[session->lineLength++] = byte;
    }
    return false;
}

// --- HELO phase

// 0 when the line is a HELO or EHLO, with `heloName` set; else -1.
int check_helo(ClientSession *session)
{
    const char *rest = session->line;
    const std::string_view word = next_word(&rest);
    if (!begins_ignoring_case(word.data(), "helo") &&
        !begins_ignoring_case(word.data(), "ehlo")) {
        return -1;
    }
    const std::string_view name = next_word(&rest);
    copy_text(session->heloName, std::min<size_t>(name.size() + 1, HELO_SIZE),
              name.data());
    return 0;
}

bool is_quit(const char *line)
{
    return begins_ignoring_case(line, "QUIT") && next_word(&line).size() == 4;
}

void handle_first_line(ClientSession *session)
{
    if (check_helo(session) == 0) {
        const bool named = session->heloName[0] != '\0';
        format_text(session->replyText, REPLY_TEXT_SIZE,
                    "Welcome [%s], pleased to meet you.",
                    named ? session->heloName : session->peerText);
        session->state = SESSION_COMMANDS;
        send_reply(session, "250 ", "Welcome, pleased to meet you.");
    } else if (is_quit(session->line)) {
        do_quit(session);
    } else {
        send_reply(session, "500 ", UNRECOGNIZED);
    }
}

// Handles one line and discards the rest of the chunk.
void helo_phase(ClientSession *session, const char *bytes, int count)
{
    for (int i = 0; i < count; i++) {
        if (add_to_line(session, bytes[i])) {
            session->lineLength = 0;
            handle_first_line(session);
            return;
        }
    }
}

// --- Command phase

bool lacks_authentication(const ClientSession *session)
{
    return !session->authenticated && read_setting(SETTING_SMTPAUTHENTICATION) != 0;
}

void refuse_unauthenticated(ClientSession *session, const char *code)
{
    log_stamped(WEIGHT_WARNING,
                "AUTHENTICATION - MAIL FROM received without AUTHENTICATION, message "
                "refused");
    send_directly(session, code, "Authentication required");
}

void do_mail(ClientSession *session)
{
    const bool well_formed = session->argument != nullptr;
    if (well_formed && lacks_authentication(session)) {
        refuse_unauthenticated(session, "535 ");
        session_end(session);
        return;
    }
    session->domainAccepted = false;
    if (well_formed) {
        handle_mail_from(session);
        return;
    }
    log_stamped(WEIGHT_WARNING, "SMTP: [%s] Received bad MAIL FROM command",
                session->peerText);
    send_directly(session, "500 ", UNRECOGNIZED);
}

void do_rcpt(ClientSession *session)
{
    if (lacks_authentication(session)) {
        refuse_unauthenticated(session, "530 ");
        return;
    }
    if (session->argument != nullptr && session->argument[0] != '\0') {
        char recipient[RECIPIENT_SIZE];
        handle_rcpt_to(session, recipient);
        return;
    }
    log_stamped(WEIGHT_WARNING, "SMTP: %d - [%s] Received bad RCPT TO command",
                session->argument == nullptr ? 1 : 5, session->peerText);
    send_directly(session, "500 ", UNRECOGNIZED);
}

void do_data(ClientSession *session)
{
    if (lacks_authentication(session)) {
        log_stamped(WEIGHT_WARNING, "AUTHENTICATION - NOT received so message refused");
        send_reply(session, "503 ", "Transaction failed - no Authentication provided");
        session_end(session);
        return;
    }
    if (!session->domainAccepted && read_setting(SETTING_USEDOMAINS) != 0) {
        spool_files_remove(session->mail);
        log_stamped(WEIGHT_WARNING,
                    "DOMAIN CHECKING - NO valid recipient domain identified, message "
                    "refused");
        refuse_no_domain(session);
        if (session_is_open(session)) {
            do_quit(session);
        }
        return;
    }
    handle_data(session);
}

void do_help(ClientSession *session);

struct Verb {
    const char *word;
    const char *head; // of a well-formed line, in any letter case; the argument follows
    void (*handle)(ClientSession *session);
    bool offered; // by HELP
};

constexpr Verb VERBS[] = {
    {"AUTH", "AUTH ", handle_auth, true}, {"MAIL", "MAIL FROM:", do_mail, true},
    {"RCPT", "RCPT TO:", do_rcpt, true},  {"DATA", "", do_data, true},
    {"RSET", "", do_rset, true},          {"NOOP", "", do_noop, true},
    {"QUIT", "", do_quit, true},          {"HELP", "", do_help, true},
    {"VRFY", "", refuse_vrfy, false},     {"TURN", "", refuse_turn, false},
};

void do_help(ClientSession *session)
{
    char text[REPLY_TEXT_SIZE];
    size_t length = copy_text(text, sizeof text, "Commands: HELO EHLO");
    for (const Verb &verb : VERBS) {
        if (verb.offered) {
            length += static_cast<size_t>(
                format_text(text + length, sizeof text - length, " %s", verb.word));
        }
    }
    send_reply(session, "214 ", text);
}

// The verb of the line's first word, with the session's `argument` set; or null. A second
// HELO is no verb either.
const Verb *classify_command(ClientSession *session)
{
    const char *line = session->line;
    const char *rest = line;
    const std::string_view word = next_word(&rest);
    if (word.empty()) {
        return nullptr; // every LF of a CR LF
    }
    for (const Verb &verb : VERBS) {
        if (begins_ignoring_case(word.data(), verb.word) &&
            word.size() == strlen(verb.word)) {
            const bool well_formed = begins_ignoring_case(line, verb.head);
            session->argument = well_formed ? line + strlen(verb.head) : nullptr;
            return &verb;
        }
    }
    return nullptr;
}

// Every line of the chunk is a command, also after a DATA that is answered with 354: the
// message text begins with the next chunk. Until then it can be handled in parts. Returns
// the bytes handled.
int command_phase(ClientSession *session, const char *bytes, int count, int limit)
{
    int commands = 0;
    for (int i = 0; i < count; i++) {
        if (!add_to_line(session, bytes[i])) {
            continue;
        }
        if (const Verb *verb = classify_command(session)) {
            verb->handle(session);
            if (!session_is_open(session)) {
                return count;
            }
            commands++;
        }
        session->lineLength = 0;
        if (commands >= limit && session->state == SESSION_COMMANDS) {
            return i + 1;
        }
    }
    return count;
}

} // namespace

void handle_client_input(ClientSession *session, const char *bytes, int count)
{
    assert(session_is_open(session));
    switch (session->state) {
    case SESSION_NEW:
        greet(session);
        break;
    case SESSION_GREETED:
        helo_phase(session, bytes, count);
        break;
    case SESSION_COMMANDS:
        command_phase(session, bytes, count, INT_MAX);
        break;
    case SESSION_DATA:
        message_receive(session, bytes, count);
        break;
    default:
        break;
    }
}

int handle_part_of_input(ClientSession *session, const char *bytes, int count)
{
    if (session->state == SESSION_COMMANDS) {
        return command_phase(session, bytes, count, COMMANDS_AT_ONCE);
    }
    handle_client_input(session, bytes, count);
    return count;
}
