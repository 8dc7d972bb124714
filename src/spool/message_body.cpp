#include "spool/message_body.h"

#include "base/paths.h"
#include "base/session.h"
#include "log/activity_log.h"
#include "spool/spool_files.h"

#include <cassert>
#include <cstring>
#include <utility>

namespace
{

// Room for all that one event brings, when each byte of it is a line of its own.
constexpr int BUFFER_SIZE = 160 * 1024;

char buffer[BUFFER_SIZE];
int buffered;
const ClientSession *owner; // whose bytes they are; null when there are none

void empty_buffer()
{
    buffered = 0;
    owner = nullptr;
}

void close_file(MailTransaction &mail)
{
    if (mail.messageFile != NO_FILE) {
        file_close(mail.messageFile);
        mail.messageFile = NO_FILE;
    }
}

// Where `count` bytes more are to be put; null when they are not stored.
char *room_for(ClientSession *session, int count)
{
    assert(owner == nullptr || owner == session);
    assert(count >= 0 && count <= BUFFER_SIZE);
    if (buffered + count > BUFFER_SIZE) {
        body_flush(session);
    }
    if (session->mail.messageFile == NO_FILE) {
        return nullptr;
    }
    owner = session;
    char *room = buffer + buffered;
    buffered += count;
    return room;
}

} // namespace

void body_begin(ClientSession *session)
{
    MailTransaction &mail = session->mail;
    assert(mail.spoolTemp[0] != '\0');
    body_abandon(session);
    mail.messageFile = file_open_long_lived(mail.spoolTemp);
    if (mail.messageFile == NO_FILE) {
        body_failed(session, file_failure());
    }
}

void body_add(ClientSession *session, const char *bytes, int count)
{
    if (char *room = room_for(session, count)) {
        memcpy(room, bytes, static_cast<size_t>(count));
    }
}

void body_add_line(ClientSession *session, const char *line, int length)
{
    const bool has_cr = length > 0 && line[length - 1] == '\r';
    const int text = has_cr ? length - 1 : length;
    if (char *room = room_for(session, text + 2)) {
        memcpy(room, line, static_cast<size_t>(text));
        room[text] = '\r';
        room[text + 1] = '\n';
    }
}

void body_flush(ClientSession *session)
{
    assert(owner == nullptr || owner == session);
    const int count = buffered;
    empty_buffer();
    if (count > 0 &&
        !file_write(session->mail.messageFile, buffer, static_cast<size_t>(count))) {
        body_failed(session, file_failure());
    }
}

FileHandle body_finish(ClientSession *session)
{
    body_flush(session);
    return std::exchange(session->mail.messageFile, NO_FILE);
}

void body_failed(ClientSession *session, const char *reason)
{
    MailTransaction &mail = session->mail;
    mail.storeFailed = true;
    log_stamped(WEIGHT_FAILURE, "SMTP: [%s] Message could not be stored - %s [%s]",
                session->peerText, reason, shell_path(mail.spoolTemp).text);
    empty_buffer();
    close_file(mail);
    file_delete_exact(mail.spoolTemp);
}

void body_abandon(ClientSession *session)
{
    if (owner == session) {
        empty_buffer();
    }
    close_file(session->mail);
    session->mail.storeFailed = false;
}

bool body_buffer_is_empty()
{
    return buffered == 0 && owner == nullptr;
}
