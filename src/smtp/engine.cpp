#include "smtp/engine.h"

#include "base/gateway.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/secrets.h"
#include "smtp/authentication.h"
#include "smtp/login_exchange.h"
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
constexpr char REQUIRED[] = "Authentication required";

// --- Greeting

void greet(ClientSession *session)
{
    char text[REPLY_SIZE];
    format_text(text, sizeof text, "[%s] %s %s, Quillon email-to-fax SMTP service ready",
                gateway.host_name, GREETING_NAME, PROGRAM_VERSION);
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
    } else {
        session->lineCut = true;
    }
    return false;
}

// With ESMTP=1, the LF of a CR LF ends no line of its own, not even in the next chunk: an
// empty line would be an answer in an exchange, and the end of a message's header.
// Both say how many bytes are to be passed over, 0 or 1.

// At the beginning of a chunk.
int second_half_of_end(ClientSession *session, const char *bytes)
{
    const bool second = session->afterReturn && bytes[0] == '\n';
    session->afterReturn = false;
    return second ? 1 : 0;
}

// After a line that ended with the byte `end`; `left` bytes of its chunk follow.
int second_half_after(ClientSession *session, char end, const char *bytes, int left)
{
    if (!session->esmtp || end != '\r') {
        return 0;
    }
    session->afterReturn = left == 0;
    return left > 0 && bytes[0] == '\n' ? 1 : 0;
}

// The line has been handled. With ESMTP=1 it may have held a password.
void forget_line(ClientSession *session)
{
    if (session->esmtp) {
        wipe_secret(session->line, sizeof session->line);
    }
    session->lineLength = 0;
    session->lineCut = false;
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

// Answers the HELO or EHLO that the line holds.
void welcome(ClientSession *session)
{
    const bool named = session->heloName[0] != '\0';
    format_text(session->replyText, REPLY_TEXT_SIZE, "Welcome [%s], pleased to meet you.",
                named ? session->heloName : session->peerText);
    session->state = SESSION_COMMANDS;
    const char *rest = session->line;
    if (session->esmtp && begins_ignoring_case(next_word(&rest).data(), "ehlo")) {
        send_list(session, "250",
                  {session->replyText, "8BITMIME", "SIZE", "AUTH LOGIN PLAIN"});
    } else {
        send_reply(session, "250 ", "Welcome, pleased to meet you.");
    }
}

void handle_first_line(ClientSession *session)
{
    if (check_helo(session) == 0) {
        session->esmtp = read_setting(SETTING_ESMTP) != 0;
        welcome(session);
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
            handle_first_line(session);
            forget_line(session);
            second_half_after(session, bytes[i], bytes + i + 1, count - i - 1);
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
    send_directly(session, code, REQUIRED);
}

void do_mail(ClientSession *session)
{
    const bool well_formed = session->argument != nullptr;
    if (well_formed && lacks_authentication(session)) {
        refuse_unauthenticated(session, session->esmtp ? "530 " : "535 ");
        if (!session->esmtp) {
            session_end(session);
        }
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
    const bool well_formed = session->argument != nullptr && session->argument[0] != '\0';
    if (well_formed && session->esmtp && !session->mail.hasSender) {
        send_reply(session, "503 ", "Error: need MAIL command");
        return;
    }
    if (well_formed) {
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
        if (session->esmtp) {
            send_reply(session, "530 ", REQUIRED);
            return;
        }
        send_reply(session, "503 ", "Transaction failed - no Authentication provided");
        session_end(session);
        return;
    }
    if (session->esmtp && !session->mail.hasRecipient) {
        send_reply(session, "503 ", "Error: need RCPT command");
        return;
    }
    if (!session->domainAccepted && read_setting(SETTING_USEDOMAINS) != 0) {
        const MailTransaction &mail = session->mail;
        spool_files_remove({mail.spoolEnvelope, mail.spoolTemp, mail.spoolText});
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

// A second HELO or EHLO is a command with ESMTP=1 alone, and then no text of a message
// that was sent ahead. It begins again.
void do_helo(ClientSession *session)
{
    if (session->esmtp && session->state == SESSION_COMMANDS) {
        check_helo(session);
        transaction_give_up(session);
        welcome(session);
    }
}

void do_help(ClientSession *session);

struct Verb {
    const char *word;
    const char *head; // of a well-formed line, in any letter case; the argument follows
    void (*handle)(ClientSession *session);
    bool offered; // by HELP, after HELO and EHLO
};

constexpr Verb VERBS[] = {
    {"AUTH", "AUTH ", handle_auth, true}, {"MAIL", "MAIL FROM:", do_mail, true},
    {"RCPT", "RCPT TO:", do_rcpt, true},  {"DATA", "", do_data, true},
    {"RSET", "", do_rset, true},          {"NOOP", "", do_noop, true},
    {"QUIT", "", do_quit, true},          {"HELP", "", do_help, true},
    {"VRFY", "", refuse_vrfy, false},     {"TURN", "", refuse_turn, false},
    {"HELO", "", do_helo, false},         {"EHLO", "", do_helo, false},
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

// The verb of the line's first word, with the session's `argument` set; or null.
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

// Handles the line as the answer that an exchange waits for, or as a command. False when
// nothing comes of it. With ESMTP=1 an unknown word is answered, unless it is text of a
// message that was sent ahead.
bool handle_line(ClientSession *session)
{
    if (session->login.step != LOGIN_EXPECTS_NOTHING) {
        login_answer(session);
        return true;
    }
    if (const Verb *verb = classify_command(session)) {
        verb->handle(session);
        return true;
    }
    const char *rest = session->line;
    if (!session->esmtp || session->state != SESSION_COMMANDS ||
        next_word(&rest).empty()) {
        return false;
    }
    send_reply(session, "500 ", UNRECOGNIZED);
    return true;
}

// Every line of the chunk is a command, also after a DATA that is answered with 354: the
// message text begins with the next chunk. Until then it can be handled in parts. Returns
// the bytes handled.
int command_phase(ClientSession *session, const char *bytes, int count, int limit)
{
    int commands = 0;
    for (int i = second_half_of_end(session, bytes); i < count; i++) {
        if (!add_to_line(session, bytes[i])) {
            continue;
        }
        if (handle_line(session)) {
            if (!session_is_open(session)) {
                return count;
            }
            commands++;
        }
        forget_line(session);
        i += second_half_after(session, bytes[i], bytes + i + 1, count - i - 1);
        if (commands >= limit && session->state == SESSION_COMMANDS) {
            return i + 1;
        }
    }
    return count;
}

// --- Message text

void text_phase(ClientSession *session, const char *bytes, int count)
{
    const int skipped = second_half_of_end(session, bytes);
    message_receive(session, bytes + skipped, count - skipped);
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
        text_phase(session, bytes, count);
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
