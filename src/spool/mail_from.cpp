#include "spool/mail_from.h"

#include "base/session.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "smtp/replies.h"
#include "spool/address_token.h"
#include "spool/domains.h"
#include "spool/local_users.h"
#include "spool/message_body.h"
#include "spool/spool_files.h"

#include <cstring>

namespace
{

// The log line holds at most 511 characters, like the envelope line.
constexpr size_t SENDER_TEXT_SIZE = 512;

// After a refusal nothing goes onto the envelope of an earlier sender.
void drop_transaction(ClientSession *session)
{
    body_abandon(session);
    spool_files_remove({session->mail.spoolEnvelope, session->mail.spoolTemp});
    session->mail = {};
}

void refuse_long_sender(ClientSession *session)
{
    drop_transaction(session);
    log_stamped(WEIGHT_WARNING, "SMTP: [%s] MAIL FROM refused, the address is too long",
                session->peerText);
    send_reply(session, "501 ", "Address too long");
}

void log_and_class_sender(ClientSession *session, const char *token)
{
    log_stamped("SMTP: [%s] Mail From [%s]", session->peerText, token);
    session->lastActivity = tick_count();
    session->senderIsLocal = find_local_user(token, false) != USER_UNKNOWN;
    if (full_detail()) {
        log_stamped(session->senderIsLocal
                        ? "***DEBUG** - senders address is a local user"
                        : "***DEBUG** - senders address is not recognized");
    }
}

// Every MAIL FROM starts the envelope again, in the transaction's own file if there is
// one already.
bool start_envelope(ClientSession *session, const char *line, int length)
{
    const bool is_new = session->mail.spoolBase[0] == '\0';
    session->mail.hasSender = session->mail.hasRecipient = false;
    const FileHandle envelope = is_new ? spool_files_create(session->mail, SPOOL_MAIL)
                                       : envelope_open(session, FILE_EXACT);
    if (envelope != NO_FILE && envelope_write(session, envelope, line, length)) {
        session->mail.hasSender = true;
        return true;
    }
    // Without a new transaction no reply either; the next MAIL FROM tries again.
    const bool answered = session->mail.spoolBase[0] != '\0' || session->esmtp;
    drop_transaction(session);
    if (answered) {
        send_reply(session, "451 ", NOT_STORED);
    }
    return false;
}

} // namespace

bool sender_fits(const char *peer, const char *token)
{
    constexpr size_t fixed = STAMP_SIZE - 1 + sizeof " SMTP: [] Mail From []" - 1;
    return fixed + strlen(peer) + strlen(token) < SENDER_TEXT_SIZE;
}

void handle_mail_from(ClientSession *session)
{
    char token[TOKEN_SIZE] = "";
    char line[ENVELOPE_LINE_SIZE];
    const bool has_token = take_address_token(session->argument, token);
    const int length = form_envelope_line(line, sizeof line, "MAIL FROM", token);
    if (length < 0 || !sender_fits(session->peerText, token)) {
        refuse_long_sender(session);
        return;
    }
    if (has_token) {
        log_and_class_sender(session, token);
    } else if (full_detail()) {
        // Blanks alone are the null sender, but name nobody to log or to look up.
        log_line("***DEBUG** - NULL sender address recieved ??????");
    }
    if (!start_envelope(session, line, length)) {
        return;
    }
    if (full_detail()) {
        log_line("%.*s", length - 2, line);
    }
    check_domain(session, "Sender", token);
    send_reply(session, "250 ", "OK");
}
