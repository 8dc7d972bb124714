#include "smtp/message.h"

#include "base/paths.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "smtp/replies.h"
#include "spool/spool_files.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr char NOT_STORED[] = "Message could not be stored, please try again later";

// Shared by all sessions: it is empty whenever an event ends.
char gathered[160 * 1024];
int gathered_count;

// The text of a message is being read, whether or not it can be stored.
bool is_receiving(const ClientSession *session)
{
    return session->messageFile != NO_FILE || session->storeFailed != 0;
}

void close_message_file(ClientSession *session)
{
    if (session->messageFile != NO_FILE) {
        file_close(session->messageFile);
        session->messageFile = NO_FILE;
    }
    gathered_count = 0;
}

void refuse_message(ClientSession *session)
{
    session->storeFailed = 0;
    spool_file_remove(session->spoolEnvelope);
    spool_file_remove(session->spoolTemp);
    spool_files_forget(session);
    send_directly(session, "451 ", NOT_STORED);
}

// Whole and on the disk's side, but not under its final name: kept for the operator,
// with the envelope that says for whom it is. Unless somebody has taken it away.
void keep_undelivered(ClientSession *session)
{
    const char *reason = file_failure();
    if (does_file_exist(session->spoolTemp) == 0) {
        message_cannot_be_stored(session, reason);
        refuse_message(session);
        return;
    }
    log_stamped("SMTP: [%s] Message could not be handed over, it is kept in [%s] - %s",
                session->peerText, session->spoolTemp, reason);
    spool_files_forget(session);
    send_directly(session, "451 ", NOT_STORED);
}

// The fax server may have taken it already. Without a promise the client sends it again:
// rather twice than never.
void leave_unconfirmed(ClientSession *session)
{
    log_stamped("SMTP: [%s] Message was handed over, but could not be written through to "
                "the disk - %s [%s]",
                session->peerText, file_failure(), session->spoolText);
    spool_files_forget(session);
    send_directly(session, "451 ", NOT_STORED);
}

// The end line has come. The 250 is sent when the file stands under its final name.
void complete_message(ClientSession *session)
{
    session->state = SESSION_COMMANDS;
    message_write_gathered(session);
    if (session->messageFile != NO_FILE && !spool_sync_files(session)) {
        message_cannot_be_stored(session, file_failure());
    }
    if (session->messageFile != NO_FILE) {
        const FileHandle file = session->messageFile;
        session->messageFile = NO_FILE;
        if (!file_close(file)) {
            message_cannot_be_stored(session, file_failure());
        }
    }
    if (session->storeFailed != 0) {
        refuse_message(session);
        return;
    }
    if (full_detail()) {
        log_stamped("***DEBUG***  Message file [%s] closed ", session->spoolTemp);
    }
    if (!spool_hand_off(session)) {
        keep_undelivered(session);
        return;
    }
    if (full_detail()) {
        log_stamped("***DEBUG***  File renamed to [%s] and is now available to Quillon",
                    session->spoolText);
    }
    if (!spool_sync_names(session)) {
        leave_unconfirmed(session);
        return;
    }
    spool_files_forget(session);
    send_directly(session, "250 ", "OK");
}

bool is_end_line(const char *line, int length)
{
    return length > 0 && length <= 2 && line[0] == '.' &&
           (length == 1 || line[1] == '\r');
}

// One line without its LF.
void handle_line(ClientSession *session, const char *line, int length)
{
    if (!is_receiving(session)) {
        return; // behind the end line, in the same chunk
    }
    if (is_end_line(line, length)) {
        complete_message(session);
        return;
    }
    message_add(session, line, length);
    if (length > 0 && line[length - 1] == '\r') {
        message_add(session, "\n", 1);
    } else {
        message_add(session, "\r\n", 2);
    }
}

// Holds bytes of a line that is not complete. A full buffer goes out when another byte
// comes: what remains of the line is then tested and written as a line of its own.
void hold(ClientSession *session, const char *bytes, int count)
{
    while (count > 0) {
        if (session->lineLength == LINE_LIMIT) {
            message_add(session, session->line, LINE_LIMIT);
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

void message_add(ClientSession *session, const char *bytes, int count)
{
    if (gathered_count + count > static_cast<int>(sizeof gathered)) {
        message_write_gathered(session);
    }
    if (session->messageFile == NO_FILE) {
        return;
    }
    memcpy(gathered + gathered_count, bytes, static_cast<size_t>(count));
    gathered_count += count;
}

void message_receive(ClientSession *session, const char *bytes, int count)
{
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

void message_write_gathered(ClientSession *session)
{
    const int count = gathered_count;
    gathered_count = 0;
    if (count > 0 && session->messageFile != NO_FILE &&
        !file_write(session->messageFile, gathered, static_cast<size_t>(count))) {
        message_cannot_be_stored(session, file_failure());
    }
}

void message_cannot_be_stored(ClientSession *session, const char *reason)
{
    log_stamped("SMTP: [%s] Message could not be stored - %s [%s]", session->peerText,
                reason, session->spoolTemp);
    close_message_file(session);
    spool_file_remove(session->spoolTemp);
    session->storeFailed = 1;
}

void message_abandon(ClientSession *session)
{
    close_message_file(session);
    session->storeFailed = 0;
}
