#include "smtp/replies.h"

#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"

void send_reply(ClientSession *session, const char *code, const char *text)
{
    char replacement[REPLY_TEXT_SIZE];
    if (session->replyText[0] != '\0') {
        copy_text(replacement, sizeof replacement, session->replyText);
        session->replyText[0] = '\0';
        text = replacement;
    }
    // Echoed before the send, so that a reply that fails is in the log too.
    if (full_detail()) {
        log_line("==> [%s%s]", code, text);
    }
    send_directly(session, code, text);
}

void send_directly(ClientSession *session, const char *code, const char *text)
{
    char reply[REPLY_SIZE];
    const int length = format_text(reply, sizeof reply, "%s%s\r\n", code, text);
    log_flush();
    if (socket_send(session->socket, reply, static_cast<size_t>(length)) != length) {
        session_end(session);
    }
}
