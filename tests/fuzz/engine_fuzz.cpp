// Whole dialogues in arbitrary chunks, through the command engine and the spool.
//
// Input: a byte of toggles, the size of a chunk, which send falls short (0: none), text.
#include "base/gateway.h"
#include "base/session.h"
#include "base/sessions.h"
#include "base/text.h"
#include "core/disconnect.h"
#include "fuzz_installation.h"
#include "log/activity_log.h"
#include "platform/file_contents.h"
#include "platform/posix/events.h"
#include "smtp/engine.h"
#include "spool/message_body.h"
#include "ui/resources.h"
#include "ui/status_window.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

namespace
{

constexpr char LOG[] = "LOGS/QLNSMTP.TXT";

int sends_until_short;
int messages;   // promised
bool receiving; // message text, so that the next 250 promises it
bool let_in;    // a prompt or, with ESMTP=1, a 235 was sent
const ClientSession *current;

// The password of the only login, and what the answers that it is right in hold.
constexpr char LOGIN[] = "anna:$1$abcdefgh$bp.jck1CbvZXVXAMrwpSV.\n";
constexpr char PASSWORD[] = "s3cr3t";
constexpr const char *ANSWERS[] = {"czNjcjN0", "AGFubmEAczNjcjN0",
                                   "YW5uYQBhbm5hAHMzY3Izd"};

void write_settings(uint8_t toggles)
{
    std::string lines;
    for (const char *key : {"FULLDETAIL", "USEDOMAINS", "SMTPAUTHENTICATION",
                            "SHOWAUTHENTICATEDETAILS", "LOGONLY", "MAXSIZE", "ESMTP"}) {
        lines += key + std::string(toggles & 1 ? "=1\n" : "=0\n");
        toggles >>= 1;
    }
    std::ofstream("DATA/RAW/QLNXSERVER.DAT") << "[QLNSMTP]\nMINSIZE=0\nSYNCSPOOL=0\n"
                                             << lines << "[SMTPSRV]\n"
                                             << lines;
    file_contents_invalidate();
}

// One chunk, as an event brings it.
void hand_over(ClientSession *session, const char *bytes, size_t size)
{
    receiving = session->state == SESSION_DATA;
    for (size_t done = 0; done < size && session_is_open(session);) {
        const int left = static_cast<int>(size - done);
        const int part = handle_part_of_input(session, bytes + done, left);
        promise(part > 0 && part <= left, "a part of a chunk");
        done += static_cast<size_t>(part);
    }
    if (session_is_open(session)) {
        body_flush(session);
    }
}

// Whether the answer stands nowhere but where it is one: as a whole line or behind AUTH
// and a mechanism. Elsewhere it may be shown.
bool is_secret_in(const std::string &text, const std::string &answer)
{
    for (size_t at = text.find(answer); at != std::string::npos;
         at = text.find(answer, at + 1)) {
        const std::string_view before(text.data(), at);
        if (at > 0 && !before.ends_with('\n') && !before.ends_with("AUTH LOGIN ") &&
            !before.ends_with("AUTH PLAIN ")) {
            return false;
        }
    }
    return true;
}

// No line that was added to the log holds the password but one that takes it for a name.
void look_for_secrets(const std::string &text, size_t logged)
{
    std::ifstream log(LOG);
    log.seekg(static_cast<std::streamoff>(logged));
    for (std::string line; std::getline(log, line);) {
        promise(text.find(PASSWORD) != std::string::npos ||
                    line.find("login of [") != std::string::npos ||
                    line.find(PASSWORD) == std::string::npos,
                "a password in the log");
        for (const char *answer : ANSWERS) {
            promise(line.find(answer) == std::string::npos || !is_secret_in(text, answer),
                    "an answer in the log");
        }
    }
}

void count_spool()
{
    const fs::recursive_directory_iterator all(".");
    int pairs = 0;
    for (fs::path file : std::vector<fs::path>(begin(all), end(all))) {
        if (file.extension() == ".txt") {
            fs::remove(file);
            promise(fs::remove(file.replace_extension(".env")), "no envelope");
            pairs++;
        }
    }
    promise(pairs >= messages, "a message is not in the spool");
    promise(std::distance(fs::recursive_directory_iterator("."), {}) == 10,
            "a stray file");
    promise(installation_is_alone(), "a file outside the installation");
}

} // namespace

// The client's end of every connection, in place of the system's.
extern "C" ssize_t send(int, const void *bytes, size_t size, int)
{
    const auto *reply = static_cast<const char *>(bytes);
    promise(size >= 6 && size <= 1023, "a reply's length");
    promise(memcmp(reply + size - 2, "\r\n", 2) == 0, "a reply without CR LF");
    promise(std::count(reply, reply + size, '\n') == 1 ||
                (current->esmtp && memcmp(reply, "250-Welcome [", 13) == 0),
            "a reply of two lines");
    promise(std::all_of(reply, reply + 3, isdigit), "a reply without a code");
    let_in = let_in || memcmp(reply, current->esmtp ? "235 " : "334 ", 4) == 0;
    if (sends_until_short > 0 && --sends_until_short == 0) {
        return static_cast<ssize_t>(size / 2);
    }
    messages += receiving && memcmp(reply, "250 ", 4) == 0 ? 1 : 0;
    return static_cast<ssize_t>(size);
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    enter_installation();
    promise(events_start(), "no events");
    std::ofstream("DATA/RAW/SMTPLOGINS.DAT") << LOGIN;
    gateway.statusWindow = dialog_create(status_dialog, nullptr, status_dialog_proc);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 3) {
        return 0;
    }
    write_settings(data[0]);
    let_in = receiving = false;
    const size_t chunk = data[1] == 0 ? 1023 : data[1];
    sends_until_short = data[2];
    messages = 0;

    ClientSession *session = session_alloc();
    session_set_socket(session, open("/dev/null", O_RDWR));
    static unsigned number; // another address each time: one that guesses is refused
    address_to_text(++number, session->peerText, PEER_SIZE);
    current = session;
    const size_t logged = fs::exists(LOG) ? fs::file_size(LOG) : 0;
    gateway.active_count = 1;
    handle_client_input(session, nullptr, 0);
    const std::string text(data + 3, data + size);
    for (size_t at = 0; at < text.size() && session_is_open(session); at += chunk) {
        hand_over(session, text.data() + at, std::min(chunk, text.size() - at));
    }
    promise(!session->authenticated || let_in, "authenticated without a word");
    const auto is_there = [&](const char *answer) {
        return text.find(answer) != std::string::npos;
    };
    promise(!let_in || !session->esmtp || std::ranges::any_of(ANSWERS, is_there),
            "a wrong password is right");
    const bool extended = session->esmtp;
    Disconnect(session);
    log_flush();
    if (extended && fs::file_size(LOG) >= logged) { // not trimmed meanwhile
        look_for_secrets(text, logged);
    }
    promise(gateway.active_count == 0, "a session is still counted");
    promise(fs::file_size(LOG) < 8U << 20, "the log is not trimmed");
    count_spool();
    return 0;
}
