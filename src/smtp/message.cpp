#include "smtp/message.h"

#include "base/session.h"
#include "base/sessions.h"
#include "platform/clock.h"
#include "smtp/replies.h"
#include "spool/hand_over.h"
#include "spool/message_body.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace
{

bool is_end_line(const char *line, int length)
{
    return length > 0 && length <= 2 && line[0] == '.' &&
           (length == 1 || line[1] == '\r');
}

void answer(ClientSession *session, bool stored)
{
    send_directly(session, stored ? "250 " : "451 ", stored ? "OK" : NOT_STORED);
}

// One line without its LF.
void handle_line(ClientSession *session, const char *line, int length)
{
    if (session->state != SESSION_DATA) {
        return; // after the end line, in the same chunk
    }
    if (!is_end_line(line, length)) {
        body_add_line(session, line, length);
        return;
    }
    session->state = SESSION_COMMANDS;
    const HandOver result = hand_over(session);
    if (result != ON_ITS_WAY) {
        answer(session, result == HANDED_OVER);
    }
}

// Holds bytes of a line that is not complete. A full buffer goes out when another byte
// comes: what remains of the line is then tested and written as a line of its own.
void hold(ClientSession *session, const char *bytes, int count)
{
    while (count > 0) {
        if (session->lineLength == LINE_LIMIT) {
            body_add(session, session->line, LINE_LIMIT);
            session->lineLength = 0;
        }
        const int part = std::min(count, LINE_LIMIT - session->lineLength);
        memcpy(session->line + session->lineLength, bytes, static_cast<size_t>(part));
        session->lineLength += part;
        bytes += part;
        count -= part;
    }
}

} // namespace

void message_receive(ClientSession *session, const char *bytes, int count)
{
    assert(session->mail.messageFile != NO_FILE || session->mail.storeFailed);
    session->lastActivity = tick_count();
    const char *end = bytes + count;
    while (bytes < end) {
        const auto left = static_cast<size_t>(end - bytes);
        const auto *feed = static_cast<const char *>(memchr(bytes, '\n', left));
        if (feed == nullptr) {
            hold(session, bytes, static_cast<int>(left));
            return;
        }
        const int length = static_cast<int>(feed - bytes);
        if (session->lineLength == 0 && length <= LINE_LIMIT) {
            handle_line(session, bytes, length); // straight from the chunk
        } else {
            hold(session, bytes, length);
            handle_line(session, session->line, session->lineLength);
        }
        if (!session_is_open(session)) {
            return;
        }
        session->lineLength = 0;
        bytes = feed + 1;
    }
}

ClientSession *message_sender(const StoreJob *report)
{
    return hand_over_sender(report);
}

void message_reported(StoreJob *report)
{
    ClientSession *session = hand_over_sender(report);
    const bool stored = hand_over_conclude(report);
    if (session != nullptr) {
        assert(session->waits);
        session->waits = false;
        session->lastActivity = tick_count(); // it was not idle
        answer(session, stored);
    }
}
