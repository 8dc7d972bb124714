#include "smtp/authentication.h"

#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "smtp/login_exchange.h"
#include "smtp/replies.h"

namespace
{

// The prompts of RFC 4954 stand where other replies have code and blank; the first is
// the Base64 form of "Username:".
constexpr char LOGIN_PROMPT[] = "334 VXN1cm5hbWU6";
constexpr char PLAIN_PROMPT[] = "334 Username";

// Whether the log shall tell of the exchange.
bool details_wanted()
{
    return read_setting(SETTING_SHOWAUTHENTICATEDETAILS) != 0;
}

// The session counts as authenticated from its first prompt on. False when the prompt
// could not be sent, which has ended the session.
bool prompt(ClientSession *session, const char *text)
{
    send_reply(session, text, "");
    if (!session_is_open(session)) {
        return false;
    }
    session->authenticated = true;
    return true;
}

void begin_login(ClientSession *session)
{
    if (session->authenticated) {
        session_end(session);
        return;
    }
    if (prompt(session, LOGIN_PROMPT) && details_wanted()) {
        log_line("Requesting authentication password");
    }
}

void begin_plain(ClientSession *session)
{
    if (details_wanted()) {
        log_line("AUTH PLAIN received, requesting authentication ID");
    }
    prompt(session, PLAIN_PROMPT);
}

void decline(ClientSession *session)
{
    // The same code as for a success: clients go on without authentication.
    send_reply(session, "250 ", "AUTHENTICATION type not supported.");
}

} // namespace

void handle_auth(ClientSession *session)
{
    if (session->esmtp) {
        login_command(session);
        return;
    }
    if (read_setting(SETTING_SMTPAUTHENTICATION) == 0) {
        send_reply(session, "500 ", "SMTP AUTHENTICATION not required.");
        return;
    }
    const char *mechanism = session->argument;
    if (mechanism == nullptr) {
        return;
    }

    // A mechanism counts only when nothing else stands on the line, not even a blank.
    if (equal_ignoring_case(mechanism, "LOGIN")) {
        begin_login(session);
    } else if (equal_ignoring_case(mechanism, "PLAIN")) {
        begin_plain(session);
    } else if (equal_ignoring_case(mechanism, "CRAM-MD5")) {
        if (details_wanted()) {
            log_line("AUTH CD_CRAM received, authentication not supported");
        }
        decline(session);
    } else {
        if (details_wanted()) {
            log_line("UNRECOGNIZED AUTH command [%s] received", session->line);
        }
        decline(session);
    }
}
