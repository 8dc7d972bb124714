// Whole dialogues in arbitrary chunks, through the command engine and the spool, with the
// sockets and the settings replaced.
//
// Input: a byte of toggles, the size of a chunk, which send falls short (0: none), text.
#include "core/disconnect.h"
#include "core/gateway.h"
#include "core/session.h"
#include "core/sessions.h"
#include "core/settings.h"
#include "core/socket_window.h"
#include "core/text.h"
#include "fuzz_installation.h"
#include "log/activity_log.h"
#include "platform/posix/events.h"
#include "smtp/engine.h"
#include "smtp/message.h"
#include "ui/resources.h"
#include "ui/status_window.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace
{

constexpr Socket CLIENT = 3;
constexpr const char *TOGGLES[] = {
    "FULLDETAIL", "USEDOMAINS", "SMTPAUTHENTICATION", "SHOWAUTHENTICATEDETAILS",
    "LOGONLY",    "MAXSIZE"};

uint8_t toggles;
int sends_until_short;
int messages;   // promised
bool receiving; // message text, so that the next 250 promises it

void count_spool()
{
    int bodies = 0;
    int envelopes = 0;
    for (const char *directory : {"qlnemails", "pending", "mailin"}) {
        for (const auto &entry : fs::directory_iterator(directory)) {
            const auto extension = entry.path().extension();
            bodies += extension == ".txt" ? 1 : 0;
            envelopes += extension == ".env" ? 1 : 0;
            promise(extension == ".txt" || extension == ".env", "a stray file");
            fs::remove(entry.path());
        }
    }
    promise(bodies == envelopes && bodies >= messages, "a message is not in the spool");
    promise(std::distance(fs::directory_iterator("."), {}) == 6, "a stray entry");
}

} // namespace

// --- the settings

void settings_locate() {}
void settings_flush() {}

int read_setting(const char *key, int missing)
{
    for (size_t i = 0; i < std::size(TOGGLES); i++) {
        if (strcmp(key, TOGGLES[i]) == 0) {
            return toggles >> i & 1;
        }
    }
    return strcmp(key, "MINSIZE") == 0 ? 0 : missing;
}

int read_setting_of(const char *, const char *key, int missing)
{
    return read_setting(key, missing);
}

void read_setting_text(const char *, const char *missing, char *text, int size)
{
    copy_text(text, static_cast<size_t>(size), missing);
}

void write_setting(const char *, const char *) {}
void write_setting_of(const char *, const char *, const char *) {}
void write_setting_number(const char *, long) {}

bool full_detail()
{
    return read_setting("FULLDETAIL", 0) != 0;
}

// --- the sockets

int sockets_start(int, int, SocketLibrary *)
{
    return 0;
}
void sockets_stop() {}
int host_name_of_machine(char *, int)
{
    return -1;
}
int host_look_up(const char *, char *, int, uint32_t *)
{
    return 0;
}
uint32_t address_from_text(const char *)
{
    return ADDRESS_NONE;
}
void address_to_text(uint32_t, char *, int) {}
Socket socket_create()
{
    return NO_SOCKET;
}
bool socket_set_receive_buffer(Socket, int)
{
    return true;
}
bool socket_set_send_buffer(Socket, int)
{
    return true;
}
bool socket_register(Socket, Window *, unsigned, int)
{
    return true;
}
bool socket_bind(Socket, uint32_t, uint16_t)
{
    return true;
}
bool socket_listen(Socket, int)
{
    return true;
}
Socket socket_accept(Socket, char *, int)
{
    return NO_SOCKET;
}
void socket_rest(Socket) {}
int socket_peek(Socket, void *, size_t)
{
    return 0;
}
bool socket_discard(Socket, size_t)
{
    return true;
}
void socket_set_sends_ahead(Socket, bool) {}
bool socket_sends_ahead(Socket)
{
    return false;
}
int socket_receive(Socket, void *, size_t)
{
    return 0;
}
void socket_close(Socket) {}
int socket_last_error()
{
    return 0;
}

int socket_send(Socket, const void *bytes, size_t size)
{
    const auto *reply = static_cast<const char *>(bytes);
    promise(size >= 6 && size <= 1023, "a reply's length");
    promise(memcmp(reply + size - 2, "\r\n", 2) == 0, "a reply without CR LF");
    promise(std::count(reply, reply + size, '\n') == 1, "a reply of two lines");
    promise(std::all_of(reply, reply + 3, isdigit), "a reply without a code");
    if (sends_until_short > 0 && --sends_until_short == 0) {
        return static_cast<int>(size / 2);
    }
    messages += receiving && memcmp(reply, "250 ", 4) == 0 ? 1 : 0;
    return static_cast<int>(size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool entered = [] {
        enter_installation();
        events_start();
        gateway.statusWindow = dialog_create(status_dialog, nullptr, status_dialog_proc);
        return gateway.statusWindow != nullptr;
    }();
    promise(entered, "no installation");
    if (size < 3) {
        return 0;
    }
    toggles = data[0];
    const size_t chunk = data[1] == 0 ? 1023 : data[1];
    sends_until_short = data[2];
    messages = 0;
    receiving = false;

    ClientSession *session = session_alloc();
    session_set_socket(session, CLIENT);
    copy_text(session->peerText, PEER_SIZE, "192.0.2.1");
    gateway.active_count = 1;
    handle_client_input(session, nullptr, 0);
    const std::string text(data + 3, data + size);
    for (size_t at = 0; at < text.size() && session_is_open(session); at += chunk) {
        receiving = session->state == SESSION_DATA;
        const size_t count = std::min<size_t>(chunk, text.size() - at);
        for (size_t done = 0; done < count && session_is_open(session);) {
            const int left = static_cast<int>(count - done);
            const int part = handle_part_of_input(session, text.data() + at + done, left);
            promise(part > 0 && part <= left, "a part of a chunk");
            done += static_cast<size_t>(part);
        }
        if (session_is_open(session)) {
            message_write_gathered(session);
        }
    }
    Disconnect(session);
    log_flush();
    promise(gateway.active_count == 0, "a session is still counted");
    promise(fs::file_size("LOGS/QLNSMTP.TXT") < 8U << 20, "the log is not trimmed");
    count_spool();
    return 0;
}
