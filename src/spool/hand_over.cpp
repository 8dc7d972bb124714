#include "spool/hand_over.h"

#include "base/paths.h"
#include "base/session.h"
#include "base/settings.h"
#include "log/activity_log.h"
#include "spool/message_body.h"
#include "spool/spool_files.h"

namespace
{

// The body is whole, but not under its final name: kept for the operator, with the
// envelope that says for whom it is. Unless somebody has taken it away.
void keep_undelivered(ClientSession *session)
{
    const char *reason = file_failure();
    if (does_file_exist(session->mail.spoolTemp) == 0) {
        body_failed(session, reason);
        spool_files_remove({session->mail.spoolEnvelope, session->mail.spoolTemp});
        return;
    }
    log_stamped(WEIGHT_FAILURE,
                "SMTP: [%s] Message could not be handed over, it is kept in [%s] - %s",
                session->peerText, session->mail.spoolTemp, reason);
}

// The body is closed and whole.
bool give_final_name(ClientSession *session)
{
    const MailTransaction &mail = session->mail;
    if (full_detail()) {
        log_stamped("***DEBUG***  Message file [%s] closed ", mail.spoolTemp);
    }
    if (!file_rename(mail.spoolTemp, mail.spoolText)) {
        keep_undelivered(session);
        return false;
    }
    if (full_detail()) {
        log_stamped("***DEBUG***  File renamed to [%s] and is now available to Quillon",
                    mail.spoolText);
    }
    if (!spool_sync_names(mail)) {
        // The fax server may have taken it already. Without a promise the client sends
        // it again: rather twice than never.
        log_stamped(WEIGHT_FAILURE,
                    "SMTP: [%s] Message was handed over, but could not be written "
                    "through to the disk - %s [%s]",
                    session->peerText, file_failure(), mail.spoolText);
        return false;
    }
    return true;
}

} // namespace

bool hand_over(ClientSession *session)
{
    bool handed_over = false;
    if (body_finish(session)) {
        handed_over = give_final_name(session);
    } else {
        spool_files_remove({session->mail.spoolEnvelope, session->mail.spoolTemp});
    }
    session->mail = {};
    return handed_over;
}
