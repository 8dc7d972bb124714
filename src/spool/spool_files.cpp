#include "spool/spool_files.h"

#include "base/paths.h"
#include "base/session.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "smtp/replies.h"

#include <cstring>

namespace
{

constexpr char ENVELOPE_EXTENSION[] = ".env";
constexpr size_t EXTENSION_LENGTH = 4;

// Makes a file that nobody else has, named by the time, the tick count and the number of
// the try: the test for the name and its creation are one step.
FileHandle make_spool_file(const char *directory, char *name, int size)
{
    // Under load many names are made in one tick: the search goes on behind the last.
    static unsigned last_seconds;
    static uint32_t last_tick;
    static unsigned last_tries;

    const auto seconds = static_cast<unsigned>(unix_time());
    FileHandle file = NO_FILE;
    unsigned tries = 0;
    do {
        const uint32_t tick = tick_count();
        if (tries == 0 && seconds == last_seconds && tick == last_tick) {
            tries = last_tries;
        }
        const int length =
            format_text(name, static_cast<size_t>(size), "%s\\%08x%08x%02x%s", directory,
                        seconds, tick, tries++, ENVELOPE_EXTENSION);
        if (length >= size - 1) {
            return NO_FILE; // it may have been cut
        }
        file = file_open(name, FILE_NEW);
        last_tick = tick;
    } while (file == NO_FILE && file_name_was_taken());
    last_seconds = seconds;
    last_tries = tries;
    return file;
}

bool write_through()
{
    return read_setting("SYNCSPOOL", 0) != 0;
}

void log_and_remove(const char *path)
{
    if (spool_file_remove(path) && full_detail()) {
        log_line("%s", path);
        log_line("***DEBUG***  deleted file above in Disconnect");
    }
}

} // namespace

FileHandle spool_files_create(ClientSession *session, const char *directory_name)
{
    char directory[SPOOL_NAME_SIZE];
    char name[SPOOL_NAME_SIZE];
    FileHandle file = NO_FILE;
    if (path_below(directory, sizeof directory, directory_name)) {
        file = make_spool_file(directory, name, sizeof name);
    }
    if (file == NO_FILE) {
        log_line("FATAL ERROR - Unable to open output file for mail message...");
        return NO_FILE;
    }
    copy_text(session->spoolEnvelope, SPOOL_NAME_SIZE, name);
    copy_text(session->spoolBase, strlen(name) - EXTENSION_LENGTH + 1, name);
    format_text(session->spoolText, SPOOL_NAME_SIZE, "%s.txt", session->spoolBase);
    format_text(session->spoolTemp, SPOOL_NAME_SIZE, "%s.tmp", session->spoolBase);
    return file;
}

bool envelope_write(ClientSession *session, FileHandle envelope, const char *line,
                    int length)
{
    const bool written = file_write_whole(envelope, line, static_cast<size_t>(length));
    if (file_close(envelope) && written) {
        return true;
    }
    envelope_failed(session);
    return false;
}

void envelope_failed(ClientSession *session)
{
    log_stamped("SMTP: [%s] Envelope could not be written - %s [%s]", session->peerText,
                file_failure(), session->spoolEnvelope);
    send_reply(session, "451 ", "Message could not be stored, please try again later");
}

bool spool_sync_files(const ClientSession *session)
{
    return !write_through() ||
           (file_sync(session->messageFile) && file_sync_own(session->spoolEnvelope));
}

bool spool_sync_names(const ClientSession *session)
{
    return !write_through() || file_sync_directory_of(session->spoolText);
}

bool spool_hand_off(ClientSession *session)
{
    return file_rename(session->spoolTemp, session->spoolText);
}

bool spool_file_remove(const char *path)
{
    return path[0] != '\0' && file_delete_own(path);
}

void spool_files_abandon(ClientSession *session)
{
    log_and_remove(session->spoolEnvelope);
    log_and_remove(session->spoolText);
    log_and_remove(session->spoolTemp);
    spool_files_forget(session);
}

void spool_files_forget(ClientSession *session)
{
    session->spoolBase[0] = '\0';
    session->spoolText[0] = '\0';
    session->spoolTemp[0] = '\0';
    session->spoolEnvelope[0] = '\0';
}
