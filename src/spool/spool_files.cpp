#include "spool/spool_files.h"

#include "base/paths.h"
#include "base/session.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"

#include <cassert>
#include <cstring>

namespace
{

constexpr char ENVELOPE_EXTENSION[] = ".env";
constexpr size_t EXTENSION_LENGTH = 4;

// Whether a message of that name still waits for the fax server, which has taken its
// envelope: with a clock that was set back the name can come again.
bool has_message(const char *envelope)
{
    char text[SPOOL_NAME_SIZE + 1];
    const size_t base = copy_text(text, sizeof text, envelope) - EXTENSION_LENGTH;
    copy_text(text + base, sizeof text - base, ".txt");
    return file_is_there_exact(text);
}

// Makes a file that nobody else has, named by the time, the tick count and the number of
// the try: the test for the name and its creation are one step.
FileHandle make_spool_name(const char *directory, char name[SPOOL_NAME_SIZE + 1])
{
    // Under load many names are made in one tick: the search goes on after the last.
    static unsigned last_seconds;
    static uint32_t last_tick;
    static unsigned last_tries;

    const auto seconds = static_cast<unsigned>(unix_time());
    FileHandle file = NO_FILE;
    unsigned tries = 0;
    bool taken = false;
    do {
        const uint32_t tick = tick_count();
        if (tries == 0 && seconds == last_seconds && tick == last_tick) {
            tries = last_tries;
        }
        const int length =
            format_text(name, SPOOL_NAME_SIZE + 1, "%s\\%08x%08x%02x%s", directory,
                        seconds, tick, tries++, ENVELOPE_EXTENSION);
        if (length >= SPOOL_NAME_SIZE) {
            return NO_FILE;
        }
        taken = has_message(name);
        file = taken ? NO_FILE : file_open(name, FILE_NEW);
        last_tick = tick;
    } while (taken || (file == NO_FILE && file_name_was_taken()));
    last_seconds = seconds;
    last_tries = tries;
    return file;
}

void log_failure(const ClientSession *session)
{
    log_stamped(WEIGHT_FAILURE, "SMTP: [%s] Envelope could not be written - %s [%s]",
                session->peerText, file_failure(),
                shell_path(session->mail.spoolEnvelope).text);
}

} // namespace

bool spool_names_fit(const char *directory_name)
{
    char directory[SPOOL_NAME_SIZE];
    return path_below(directory, sizeof directory, directory_name) &&
           strlen(directory) + sizeof "\\0123456789abcdef00.env" <= SPOOL_NAME_SIZE;
}

FileHandle spool_files_create(MailTransaction &mail, const char *directory_name)
{
    assert(mail.spoolBase[0] == '\0' && mail.messageFile == NO_FILE);
    char directory[SPOOL_NAME_SIZE];
    char envelope[SPOOL_NAME_SIZE + 1];
    FileHandle file = NO_FILE;
    if (path_below(directory, sizeof directory, directory_name)) {
        file = make_spool_name(directory, envelope);
    }
    if (file == NO_FILE) {
        log_line(WEIGHT_FAILURE,
                 "FATAL ERROR - Unable to open output file for mail message...");
        return NO_FILE;
    }
    mail = {};
    const size_t length = copy_text(mail.spoolEnvelope, SPOOL_NAME_SIZE, envelope);
    copy_text(mail.spoolBase, length - EXTENSION_LENGTH + 1, envelope);
    format_text(mail.spoolText, SPOOL_NAME_SIZE, "%s.txt", mail.spoolBase);
    format_text(mail.spoolTemp, SPOOL_NAME_SIZE, "%s.tmp", mail.spoolBase);
    return file;
}

FileHandle envelope_open(const ClientSession *session, FileMode mode)
{
    // Emptying a file costs milliseconds where the file system puts such a file on the
    // disk at once, and holds up everybody; a new one of the same name does not.
    if (mode == FILE_EXACT) {
        file_delete_exact(session->mail.spoolEnvelope);
    }
    const FileHandle envelope = file_open(session->mail.spoolEnvelope, mode);
    if (envelope == NO_FILE) {
        log_failure(session);
    }
    return envelope;
}

bool envelope_write(const ClientSession *session, FileHandle envelope, const char *line,
                    int length)
{
    const bool written = file_write_whole(envelope, line, static_cast<size_t>(length));
    if (file_close(envelope) && written) {
        return true;
    }
    log_failure(session);
    return false;
}

void spool_files_remove(std::initializer_list<const char *> paths,
                        void (*tell)(const char *path))
{
    for (const char *path : paths) {
        if (path[0] != '\0' && file_delete_exact(path) && tell != nullptr) {
            tell(path);
        }
    }
}
