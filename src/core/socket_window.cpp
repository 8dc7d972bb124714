#include "core/socket_window.h"

#include "admission/accepted_addresses.h"
#include "admission/banned_addresses.h"
#include "base/gateway.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/settings.h"
#include "core/disconnect.h"
#include "core/tray.h"
#include "log/activity_log.h"
#include "platform/secrets.h"
#include "smtp/engine.h"
#include "smtp/message.h"
#include "smtp/replies.h"
#include "spool/message_body.h"
#include "ui/status_window.h"

#include <algorithm>
#include <cassert>
#include <new>

namespace
{

// Message text is received many chunks at once; the engine gets them one by one. Commands
// come in single chunks, so that a client who sends thousands ahead holds up nobody else.
constexpr int CHUNK_SIZE = 1023;
constexpr int CHUNKS_PER_RECEIVE = 64;
constexpr int LONG_TEXT = 4096; // text of which more is to be expected

char received[CHUNK_SIZE * CHUNKS_PER_RECEIVE];

ClientSession *present; // whose event it is

constexpr char NOT_VALID[] =
    "Connection not recognized as a valid sender, connection has "
    "been terminated by this SMTP server";
constexpr char UNWANTED[] = "Connection recognized as an unwanted spam or similar "
                            "sender, connection terminated by this SMTP server";

void count_connection(ClientSession *session)
{
    log_stamped("SMTP: [%s] Connected", session->peerText);
    gateway.connection_indicator = true;
    set_tray_icon(gateway.mainWindow, TRAY_CHANGE, TIP_ACTIVE);
    show_activity_lights();

    log_stamped("SMTP: [%d] connection%s active", gateway.active_count,
                gateway.active_count == 1 ? "" : "s");
    log_stamped("SMTP: Connection attempt received from [%s]...", session->peerText);
}

// Two blanks after the code: every other reply has one.
void refuse(ClientSession *session, const char *reason)
{
    send_directly(session, "503  ", reason);
    session_end(session);
}

bool is_accepted(ClientSession *session)
{
    if (read_setting(SETTING_ACCEPTVALIDADDRESSONLY) == 0) {
        log_stamped("SMTP: Unvalidated connection from [%s] accepted...",
                    session->peerText);
        return true;
    }
    if (validate_ip_address(session->peerText) != 0) {
        return true;
    }
    log_stamped(
        WEIGHT_WARNING,
        "SMTP: [%s] This IP address NOT identified in the valid IP ranges file...",
        session->peerText);
    log_stamped(WEIGHT_WARNING, "SMTP: Mail REFUSED from unvalidated address of [%s]...",
                session->peerText);
    refuse(session, NOT_VALID);
    return false;
}

bool is_banned(ClientSession *session)
{
    if (read_setting(SETTING_SMTPIPBLOCK) == 0 ||
        is_banned_ip_address(session->peerText) != 1) {
        return false;
    }
    log_stamped(WEIGHT_WARNING,
                "SMTP: [%s] Senders IP address identified on banned list...",
                session->peerText);
    log_stamped(WEIGHT_WARNING,
                "SMTP: Connection broken by invalidated IP identification...");
    refuse(session, UNWANTED);
    return true;
}

// The event is over: what it brought of a message's text is written, and a session that
// ended in it is disconnected.
void finish_event(ClientSession *session)
{
    if (session_is_open(session)) {
        body_flush(session);
    } else {
        Disconnect(session);
    }
}

void accept_client(Socket listener)
{
    static bool out_of_memory; // logged once, however long it lasts
    ClientSession *session = session_alloc();
    if (session == nullptr) {
        if (!out_of_memory) {
            log_stamped(WEIGHT_FAILURE, "SMTP: Out of memory");
        }
        out_of_memory = true;
        socket_rest(listener);
        return;
    }
    out_of_memory = false;
    const Socket socket =
        socket_accept(listener, session->peerText, sizeof session->peerText);
    if (socket == NO_SOCKET) {
        log_stamped(WEIGHT_FAILURE, "SMTP: [%s] - Connection broken...",
                    session->peerText);
        session_release(session);
        return;
    }
    if (!session_set_socket(session, socket)) {
        socket_close(socket);
        log_stamped("SMTP: [%s] - Connection broken...", session->peerText);
        session_release(session);
        return;
    }
    gateway.active_count++;
    present = session;
    count_connection(session);
    if (is_accepted(session) && !is_banned(session)) {
        handle_client_input(session, nullptr, 0);
    }
    finish_event(session);
}

// Hands bytes on, chunk by chunk while they are message text; of commands a few at a
// time. Returns the bytes handled.
int hand_on(ClientSession *session, int count)
{
    int at = 0;
    do {
        const int chunk = std::min(CHUNK_SIZE, count - at);
        at += handle_part_of_input(session, received + at, chunk);
    } while (at < count && session_is_open(session) && session->state == SESSION_DATA);
    return at;
}

// Message text, and commands that were sent ahead, are peeked at, handled, and discarded
// as far as they were handled. What is left of a chunk is read by itself, so that chunk
// boundaries stay.
int receive_pipelined(ClientSession *session)
{
    const bool is_text = session->state == SESSION_DATA;
    const int size = session->chunkLeft > 0 ? session->chunkLeft
                     : is_text              ? static_cast<int>(sizeof received)
                                            : CHUNK_SIZE;
    const Socket socket = session->socket;
    const int count = socket_peek(socket, received, static_cast<size_t>(size));
    if (count <= 0) {
        return count;
    }
    const int handled = hand_on(session, count);
    if (session_is_open(session)) {
        if (!socket_discard(socket, static_cast<size_t>(handled))) {
            session_end(session); // rather than handle it twice
            return count;
        }
        session->chunkLeft = is_text ? 0 : count - handled;
        const bool filled = !is_text && (size < CHUNK_SIZE || count == CHUNK_SIZE);
        const bool goes_on = count >= LONG_TEXT && session->state == SESSION_DATA;
        socket_set_class(socket, handled < count || filled ? CLASS_PIPELINED
                                 : goes_on                 ? CLASS_BULK
                                                           : CLASS_INTERACTIVE);
    }
    return count;
}

// Receives once and hands it on. Returns what socket_receive does.
int receive_once(ClientSession *session)
{
    if (session->state == SESSION_DATA ||
        socket_class(session->socket) == CLASS_PIPELINED) {
        return receive_pipelined(session);
    }
    const Socket socket = session->socket;
    const int count = socket_receive(socket, received, CHUNK_SIZE);
    if (count > 0) {
        handle_client_input(session, received, count);
    }
    if (count > 0 && session_is_open(session)) {
        socket_set_class(socket,
                         count == CHUNK_SIZE ? CLASS_PIPELINED : CLASS_INTERACTIVE);
    }
    return count;
}

// The same, and leaves nothing of a client who may have logged in with it.
int receive_from(ClientSession *session)
{
    const int count = receive_once(session);
    if (session->esmtp && count > 0) {
        wipe_secret(received, static_cast<size_t>(count));
    }
    return count;
}

// Nothing is read from a client whose message is on its way to the disk. The first event
// of one who does not wait for the answer stops its events until then: the others, who
// wait, are not charged for that.
bool is_held(const ClientSession *session)
{
    if (session->waits) {
        socket_hold(session->socket);
    }
    return session->waits;
}

// What was sent before a close is received first, by an event for each receive.
void read_from_client(Socket socket, bool has_closed)
{
    ClientSession *session = session_find(socket);
    if (session == nullptr || is_held(session)) {
        return;
    }
    assert(session->state != SESSION_NEW); // it has passed the checks of its address
    present = session;
    const int count = receive_from(session);
    if (count <= 0 && (has_closed || count != SOCKET_WOULD_BLOCK)) {
        session_end(session);
    }
    finish_event(session);
}

void socket_event(Socket socket, int event)
{
    switch (event) {
    case SOCKET_ACCEPT:
        accept_client(socket);
        break;
    case SOCKET_READ:
    case SOCKET_CLOSE:
        read_from_client(socket, event == SOCKET_CLOSE);
        break;
    default:
        break;
    }
}

void store_event(StoreJob *report)
{
    ClientSession *session = message_sender(report);
    present = session;
    message_reported(report);
    if (session != nullptr) {
        if (!socket_resume(session->socket)) {
            session_end(session);
        }
        finish_event(session);
    }
}

// An event is done whole. When memory fails in it, the session that it belongs to is
// over, with what it has not finished: nobody can tell how far it came.
void whole_event(unsigned message, Param first, int event)
{
    present = nullptr;
    try {
        if (message == STORE_EVENT) {
            store_event(reinterpret_cast<StoreJob *>(first));
        } else {
            socket_event(static_cast<Socket>(first), event);
        }
    } catch (const std::bad_alloc &) {
        if (present != nullptr) {
            Disconnect(present);
        }
        log_flush();
        throw;
    }
    assert(body_buffer_is_empty());
    log_flush();
}

} // namespace

Param socket_window_proc(Window *window, unsigned message, Param first, Param second)
{
    if (message == MESSAGE_DESTROY) {
        socket_close(gateway.listener);
        gateway.listener = NO_SOCKET;
        return 1;
    }
    const int event = static_cast<int>(second & 0xFFFF);
    if (message == STORE_EVENT ||
        (message == SOCKET_EVENT &&
         (event == SOCKET_ACCEPT || event == SOCKET_READ || event == SOCKET_CLOSE))) {
        whole_event(message, first, event);
        return 0;
    }
    return default_window_procedure(window, message, first, second);
}
