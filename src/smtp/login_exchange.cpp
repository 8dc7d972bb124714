#include "smtp/login_exchange.h"

#include "base/base64.h"
#include "base/paths.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "platform/secrets.h"
#include "smtp/credentials.h"
#include "smtp/login_failures.h"
#include "smtp/replies.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace
{

constexpr int REFUSALS = 3; // of one connection
constexpr size_t SHOWN_NAME = 64;
constexpr size_t SHOWN_MECHANISM = 20; // no mechanism has a longer name (RFC 4422)

// The prompts are the Base64 forms of "Username:" and "Password:", and an empty one.
constexpr char NAME_PROMPT[] = "334 VXNlcm5hbWU6";
constexpr char PASSWORD_PROMPT[] = "334 UGFzc3dvcmQ6";
constexpr char CREDENTIALS_PROMPT[] = "334 ";

constexpr char TOO_LONG[] = "Authentication line too long";

static_assert(sizeof(LoginExchange::name) > base64_size(LINE_LIMIT));

// Texts within an answer, which goes when it has been judged.
struct Credentials {
    const char *acts_as; // the authorization identity: empty, or the name once more
    const char *name;
    const char *password;
};

const char *mechanism_of(const ClientSession *session)
{
    switch (session->login.step) {
    case LOGIN_EXPECTS_NAME:
    case LOGIN_EXPECTS_PASSWORD:
        return "LOGIN";
    case LOGIN_EXPECTS_CREDENTIALS:
        return "PLAIN";
    default:
        return "AUTH";
    }
}

void ask(ClientSession *session, LoginStep step, const char *prompt)
{
    session->login.step = step;
    send_reply(session, prompt, "");
}

// The exchange is over without a name and a password that could be judged.
void give_up(ClientSession *session, const char *code, const char *reason)
{
    log_stamped(WEIGHT_WARNING, "AUTHENTICATION - %s exchange ended: %s",
                mechanism_of(session), reason);
    login_forget(session);
    send_reply(session, code, reason);
}

// Room for a name as the log shows it.
constexpr size_t SHOWN_SIZE = SHOWN_NAME * 4 + 1;

// A name that a client has encoded can hold bytes that no line can: shown as digits, they
// forge no line of the log.
const char *shown_name(const char *name, char (&shown)[SHOWN_SIZE])
{
    size_t length = 0;
    shown[0] = '\0';
    for (size_t i = 0; i < SHOWN_NAME && name[i] != '\0'; i++) {
        const auto byte = static_cast<unsigned char>(name[i]);
        const bool control = byte < ' ' || byte == 0x7F;
        length += static_cast<size_t>(format_text(shown + length, SHOWN_SIZE - length,
                                                  control ? "\\x%02x" : "%c", byte));
    }
    return shown;
}

void accept(ClientSession *session, const char *name)
{
    char shown[SHOWN_SIZE];
    session->authenticated = true;
    log_stamped("AUTHENTICATION - %s login of [%s] accepted", mechanism_of(session),
                shown_name(name, shown));
    login_forget(session);
    send_reply(session, "235 ", "Authentication successful");
}

void refuse(ClientSession *session, const char *name)
{
    char shown[SHOWN_SIZE];
    session->login.refusals++;
    log_stamped(WEIGHT_WARNING, "AUTHENTICATION - %s login of [%s] refused",
                mechanism_of(session), shown_name(name, shown));
    login_forget(session);
    send_reply(session, "535 ", "Authentication failed");
    if (session->login.refusals >= REFUSALS) {
        session_end(session);
    }
}

void put_off(ClientSession *session)
{
    log_stamped(WEIGHT_FAILURE, "AUTHENTICATION - [%s] cannot be read, nobody can log in",
                LOGINS_FILE);
    login_forget(session);
    send_reply(session, "454 ", "Temporary authentication failure");
}

bool are_sound(const Credentials &given)
{
    return given.name[0] != '\0' &&
           (given.acts_as[0] == '\0' || strcmp(given.acts_as, given.name) == 0);
}

// Whoever has guessed too often is refused without a look at the password: that costs
// nothing and tells nothing.
LoginVerdict verdict_on(const ClientSession *session, const Credentials &given)
{
    const int64_t now = unix_time();
    if (is_guessing(session->peerText, now)) {
        return LOGIN_REFUSED;
    }
    const LoginVerdict verdict =
        are_sound(given) ? judge_login(given.name, given.password) : LOGIN_REFUSED;
    if (verdict == LOGIN_REFUSED && login_has_failed(session->peerText, now)) {
        log_stamped(WEIGHT_WARNING,
                    "AUTHENTICATION - [%s] has failed too often, its logins are refused "
                    "for ten minutes",
                    session->peerText);
    }
    return verdict;
}

void judge(ClientSession *session, const Credentials &given)
{
    switch (verdict_on(session, given)) {
    case LOGIN_ACCEPTED:
        accept(session, given.name);
        break;
    case LOGIN_REFUSED:
        refuse(session, given.name);
        break;
    case LOGIN_NOT_JUDGED:
        put_off(session);
        break;
    }
}

void refuse_malformed(ClientSession *session)
{
    give_up(session, "501 ", "Malformed answer");
}

// LOGIN asks for two texts, one after the other.
void take_text(ClientSession *session, const char *text, size_t length)
{
    if (strlen(text) != length) {
        refuse_malformed(session);
    } else if (session->login.step == LOGIN_EXPECTS_PASSWORD) {
        judge(session, {"", session->login.name, text});
    } else {
        copy_text(session->login.name, sizeof session->login.name, text);
        ask(session, LOGIN_EXPECTS_PASSWORD, PASSWORD_PROMPT);
    }
}

// PLAIN has all in one answer: identity, NUL, name, NUL, password (RFC 4616).
void take_credentials(ClientSession *session, const char *answer, size_t length)
{
    if (std::count(answer, answer + length, '\0') != 2) {
        refuse_malformed(session);
        return;
    }
    const char *name = answer + strlen(answer) + 1;
    judge(session, {answer, name, name + strlen(name) + 1});
}

void take_answer(ClientSession *session, std::string_view text)
{
    char answer[sizeof session->login.name];
    const int length = decode_base64(text, answer);
    if (length < 0) {
        give_up(session, "501 ", "Cannot decode the answer");
    } else {
        answer[length] = '\0';
        if (session->login.step == LOGIN_EXPECTS_CREDENTIALS) {
            take_credentials(session, answer, static_cast<size_t>(length));
        } else {
            take_text(session, answer, static_cast<size_t>(length));
        }
    }
    wipe_secret(answer, sizeof answer);
}

// A response that is there, but empty, is written `=`.
void begin(ClientSession *session, LoginStep step, const char *prompt,
           std::string_view response)
{
    if (response.empty()) {
        ask(session, step, prompt);
        return;
    }
    session->login.step = step;
    take_answer(session, response == "=" ? std::string_view{} : response);
}

// No word that follows AUTH is logged unless it could be the name of a mechanism.
void decline(ClientSession *session, std::string_view mechanism)
{
    const bool plausible = mechanism.size() <= SHOWN_MECHANISM &&
                           std::all_of(mechanism.begin(), mechanism.end(), [](char c) {
                               return (c >= '0' && c <= '9') || c == '-' || c == '_' ||
                                      (upper_case(c) >= 'A' && upper_case(c) <= 'Z');
                           });
    const std::string_view shown = plausible ? mechanism : "?";
    log_stamped(WEIGHT_WARNING, "AUTHENTICATION - mechanism [%.*s] is not supported",
                static_cast<int>(shown.size()), shown.data());
    send_reply(session, "504 ", "AUTHENTICATION type not supported.");
}

bool same_word(std::string_view word, const char *text)
{
    return word.size() == strlen(text) && begins_ignoring_case(word.data(), text);
}

void handle_words(ClientSession *session)
{
    const char *rest = session->line;
    next_word(&rest); // AUTH
    const std::string_view mechanism = next_word(&rest);
    const std::string_view response = next_word(&rest);
    if (mechanism.empty() || !next_word(&rest).empty()) {
        send_reply(session, "501 ", "Syntax: AUTH mechanism");
    } else if (same_word(mechanism, "LOGIN")) {
        begin(session, LOGIN_EXPECTS_NAME, NAME_PROMPT, response);
    } else if (same_word(mechanism, "PLAIN")) {
        begin(session, LOGIN_EXPECTS_CREDENTIALS, CREDENTIALS_PROMPT, response);
    } else {
        decline(session, mechanism);
    }
}

} // namespace

void login_command(ClientSession *session)
{
    if (session->lineCut) {
        give_up(session, "500 ", TOO_LONG);
    } else if (session->authenticated) {
        send_reply(session, "503 ", "Already authenticated");
    } else if (session->mail.hasSender) {
        send_reply(session, "503 ", "AUTH not allowed during a mail transaction");
    } else {
        handle_words(session);
    }
}

void login_answer(ClientSession *session)
{
    if (session->lineCut) {
        give_up(session, "500 ", TOO_LONG);
    } else if (strcmp(session->line, "*") == 0) {
        give_up(session, "501 ", "Authentication cancelled");
    } else {
        take_answer(session, session->line);
    }
}

void login_forget(ClientSession *session)
{
    session->login.step = LOGIN_EXPECTS_NOTHING;
    wipe_secret(session->login.name, sizeof session->login.name);
}
