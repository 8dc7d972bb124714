#include "spool/data_command.h"

#include "base/gateway.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "base/text.h"
#include "log/activity_log.h"
#include "platform/clock.h"
#include "smtp/replies.h"
#include "spool/message_body.h"

namespace
{

constexpr int SETTING_SIZE = 1024;
constexpr int HEADER_SIZE = 4096; // room for two settings of full length

constexpr char DAYS[7][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
void add_received_line(ClientSession *session)
{
    const LocalTime &now = local_time();
    char header[HEADER_SIZE];
    const int length = format_text(
        header, sizeof header,
        "Received: from %s on %s %s %02d %02d:%02d:%02d %04d%s%s\r\n", session->peerText,
        DAYS[now.weekday], MONTH_NAMES[now.month], now.day, now.hour, now.minute,
        now.second, now.year, now.zone[0] != '\0' ? " " : "", now.zone);
    body_add(session, header, length);
}

void add_version_lines(ClientSession *session)
{
    char version[SETTING_SIZE];
    char build_date[SETTING_SIZE];
    read_setting_text(SETTING_VERSION, version, sizeof version);
    read_setting_text(SETTING_BUILDDATE, build_date, sizeof build_date);

    char header[HEADER_SIZE];
    const int length =
        format_text(header, sizeof header,
                    "\tby Quillon email-to-fax SMTP server v%s, Build: %s"
                    "\r\n\tusing SMTP (Quillon SMTP Server v%s Build: %s)"
                    "\r\n",
                    version, build_date, PROGRAM_VERSION, PROGRAM_BUILD_DATE);
    body_add(session, header, length);
}

} // namespace

void handle_data(ClientSession *session)
{
    send_directly(session, "354 ", "Start mail input; end with <CRLF>.<CRLF>");
    if (session->mail.spoolBase[0] == '\0') {
        session_end(session); // nobody has named a sender or a recipient
    }
    if (!session_is_open(session)) {
        return;
    }
    if (full_detail()) {
        log_stamped("***DEBUG***  Opening file [%s]", session->mail.spoolTemp);
    }
    session->state = SESSION_DATA;
    session->lastActivity = tick_count();
    body_begin(session); // again, when a chunk brings DATA twice
    if (session->mail.storeFailed) {
        return;
    }
    add_received_line(session);
    add_version_lines(session);
    body_flush(session);
}
