#include "smtp/simple_commands.h"

#include "base/session.h"
#include "base/sessions.h"
#include "log/activity_log.h"
#include "smtp/replies.h"
#include "spool/message_body.h"
#include "spool/spool_files.h"

void transaction_give_up(ClientSession *session)
{
    body_abandon(session);
    const MailTransaction &mail = session->mail;
    spool_files_remove({mail.spoolEnvelope, mail.spoolTemp});
    session->mail = {};
    session->domainAccepted = false;
}

void do_quit(ClientSession *session)
{
    send_directly(session, "221 ", "Quillon email-to-fax SMTP service closing");
    session_end(session);
}

void do_noop(ClientSession *session)
{
    send_reply(session, "250 ", "OK");
}

void do_rset(ClientSession *session)
{
    session->lineLength = 0;
    session->state = SESSION_COMMANDS;
    if (session->esmtp) {
        transaction_give_up(session);
    }
    send_reply(session, "250 ", "OK");
}

void refuse_vrfy(ClientSession *session)
{
    log_stamped(WEIGHT_WARNING, "SMTP: [%s] Verify from client - REFUSED",
                session->peerText);
    send_reply(session, "502 ", "Sorry, VRFY command is not supported by this server");
}

void refuse_turn(ClientSession *session)
{
    log_stamped(WEIGHT_WARNING, "SMTP: TURN command from client - REFUSED");
    send_reply(session, "502 ", "Sorry, TURN command not supported by this server");
}

void refuse_no_domain(ClientSession *session)
{
    send_reply(session, "550 ",
               "No acceptable domains in sender/recipients list, message refused");
}
