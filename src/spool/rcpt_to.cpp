#include "spool/rcpt_to.h"

#include "base/session.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "smtp/replies.h"
#include "spool/address_token.h"
#include "spool/domains.h"
#include "spool/local_users.h"
#include "spool/spool_files.h"

#include <cstring>

namespace
{

constexpr size_t RECIPIENT_LIMIT = 510; // characters of the work buffer

void refuse_long_recipient(ClientSession *session)
{
    log_stamped(WEIGHT_WARNING, "SMTP: [%s] RCPT TO refused, the address is too long",
                session->peerText);
    send_reply(session, "501 ", "Address too long");
}

FileHandle open_envelope(ClientSession *session)
{
    if (session->mail.spoolBase[0] != '\0') {
        return envelope_open(session, FILE_APPEND);
    }
    return spool_files_create(session->mail,
                              session->senderIsLocal ? SPOOL_PENDING : SPOOL_MAIL_IN);
}

bool is_local(const char *token)
{
    char address[TOKEN_SIZE];
    take_local_recipient(token, address);
    return find_local_user(address, true) != USER_UNKNOWN;
}

void log_arrival(const ClientSession *session, bool local, const char *recipient)
{
    log_timestamp(log_stamp);
    if (full_detail()) {
        log_line(local ? "%s ***DEBUG** - recipients address identified as a local user"
                       : "%s ***DEBUG** - recipients address is not recognized as a "
                         "local user",
                 log_stamp);
    }
    log_line("%s SMTP: [%s] %s mail arriving for %s%s", log_stamp, session->peerText,
             session->senderIsLocal ? "Internal" : "External",
             local ? "" : "UNKNOWN USER ", recipient);
}

} // namespace

bool recipient_fits(const char *token)
{
    return strlen(token) <= RECIPIENT_LIMIT;
}

void handle_rcpt_to(ClientSession *session, char recipient[RECIPIENT_SIZE])
{
    char token[TOKEN_SIZE];
    if (!take_address_token(session->argument, token)) {
        send_reply(session, "550 ", "No such user here");
        return;
    }
    char line[ENVELOPE_LINE_SIZE];
    const int length = form_envelope_line(line, sizeof line, "RCPT TO", token);
    if (length < 0 || !recipient_fits(token)) {
        refuse_long_recipient(session);
        return;
    }

    const FileHandle envelope = open_envelope(session);
    const bool local = envelope != NO_FILE && is_local(token);
    if (envelope == NO_FILE || !envelope_write(session, envelope, line, length)) {
        // Without a transaction there is no reply either; the next RCPT TO tries again.
        if (session->mail.spoolBase[0] != '\0') {
            send_reply(session, "451 ", NOT_STORED);
        }
        return;
    }
    if (full_detail()) {
        log_line("%.*s", length - 2, line);
    }
    take_recipient(token, recipient, RECIPIENT_SIZE);
    log_arrival(session, local, recipient);
    session->lastActivity = tick_count();
    check_domain(session, "Recipient", recipient);
    session->mail.hasRecipient = true;
    send_reply(session, "250 ", "OK");
}
