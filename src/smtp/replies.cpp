#include "smtp/replies.h"

#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"

namespace
{

void send_bytes(ClientSession *session, const char *reply, int length)
{
    log_flush();
    if (socket_send(session->socket, reply, static_cast<size_t>(length)) != length) {
        session_end(session);
    }
}

} // namespace

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

void send_list(ClientSession *session, const char *code,
               std::initializer_list<const char *> texts)
{
    const bool echoed = full_detail();
    char reply[REPLY_SIZE];
    int length = 0;
    for (const char *const &text : texts) {
        const char *mark = &text + 1 == texts.end() ? " " : "-";
        if (echoed) {
            log_line("==> [%s%s%s]", code, mark, text);
        }
        length += format_text(reply + length, sizeof reply - static_cast<size_t>(length),
                              "%s%s%s\r\n", code, mark, text);
    }
    session->replyText[0] = '\0'; // it may have been one of them
    send_bytes(session, reply, length);
}

void send_directly(ClientSession *session, const char *code, const char *text)
{
    char reply[REPLY_SIZE];
    const int length = format_text(reply, sizeof reply, "%s%s\r\n", code, text);
    send_bytes(session, reply, length);
}
