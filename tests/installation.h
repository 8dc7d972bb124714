// An installation directory with a running server, and verbs to speak to it.
#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

constexpr char SETTINGS[] = "DATA/RAW/QLNXSERVER.DAT";
constexpr char ACCEPTED[] = "DATA/RAW/VALIDIPADDRESSES.TXT";
constexpr char BANNED[] = "DATA/RAW/BADSMTPIPADDRESS.TXT";
constexpr char USERS[] = "DATA/RAW/TSUSERS.DAT";
constexpr char DOMAINS[] = "DATA/RAW/DOMAIN.DAT";
constexpr char LOGINS[] = "DATA/RAW/SMTPLOGINS.DAT";
constexpr char LOG[] = "LOGS/QLNSMTP.TXT";
constexpr char OK[] = "250 OK\r\n";
constexpr char UNRECOGNIZED[] = "500 Error command unrecognized\r\n";
constexpr char START_MAIL[] = "354 Start mail input; end with <CRLF>.<CRLF>\r\n";
constexpr char ANNAS_LOGIN[] = "anna:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1\n"; // "secret"

std::string content(const std::string &path);
// A TCP port of the loopback that nobody listens on.
int free_port();
// Waits until the condition holds; false when it does not within the time.
bool comes_true(const std::function<bool()> &condition, int milliseconds = 5000);
void sleep_ms(int milliseconds);
std::string copies(size_t count, const std::string &text);

// A mail client: raw bytes out, raw bytes in.
class Client
{
  public:
    explicit Client(int socket) : socket_(socket) {}
    Client(Client &&other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    ~Client()
    {
        leaves();
    }

    // Sends the bytes in one piece; false when the connection is gone.
    bool says(const std::string &bytes);
    // One line with its CR LF; what came before the end when the server closes or
    // nothing comes within the wait.
    std::string hears(int milliseconds = 5000);
    std::string hears_lines(int count);
    // Says a line, hears the answer.
    std::string asks(const std::string &line, int milliseconds = 5000)
    {
        return says(line + "\r\n"), hears(milliseconds);
    }
    // DATA and the text: the answer to its end line.
    std::string delivers(const std::string &text)
    {
        return asks("DATA"), asks(text + ".");
    }
    // Everything up to the end, for a conversation that ends with the connection.
    std::string hears_rest();
    // The server has closed: everything has been read and the end was seen, not a reset.
    bool is_closed(int milliseconds = 5000);
    void leaves()
    {
        close(std::exchange(socket_, -1));
    }
    int socket() const
    {
        return socket_;
    }

  private:
    bool fill(int milliseconds);

    int socket_;
    std::string heard_;
    bool ended_ = false;
    bool was_reset_ = false;
};

class Installation : public testing::Test
{
  protected:
    // A directory as the fax server lays it out, on a free port of the loopback, and this
    // process in it. What the server prints goes to "stdout" and "stderr" in it.
    Installation();
    ~Installation() override;

    // `lines` follow the port and `bind=0` in section QLNSMTP.
    void settings(const std::string &lines);
    // The server sees it at once, and so does what runs of it in this process.
    void put(const std::string &below, const std::string &bytes);
    std::string path(const std::string &below) const
    {
        return directory_ + "/" + below;
    }

    // Starts the server and waits until it serves. `prefix` runs before the program's
    // name, as in {"env", "TZ=Asia/Tokyo"}.
    void start(const Lines &prefix = {});
    // Starts it and leaves it at that.
    void launch(const Lines &prefix = {});
    // Starts it for a start that fails: its exit code.
    int start_and_wait(const Lines &prefix = {});
    // Sends the signal and waits for the end: the exit code, below 0 when a signal was
    // it.
    int stop(int signal = 15);
    size_t open_descriptors() const;
    // Bytes of the server's address space.
    size_t memory() const
    {
        return std::stoul(content("/proc/" + std::to_string(process_) + "/statm")) * 4096;
    }

    // From a loopback address. The greeting has not been read. Socket -1 when nobody
    // listens there.
    Client connect_from(const std::string &address = "127.0.0.1",
                        const std::string &server = "127.0.0.1") const;
    // Somebody does, and speaks first.
    bool greets(const std::string &server = "127.0.0.1") const
    {
        Client client = connect_from("0.0.0.0", server);
        return client.socket() >= 0 && !client.hears().empty();
    }
    std::vector<Client> crowd(size_t count) const
    {
        std::vector<Client> clients;
        std::generate_n(std::back_inserter(clients), count,
                        [&] { return connect_from(); });
        return clients;
    }
    // The greeting and HELO are over.
    Client greeted(const std::string &address = "127.0.0.1") const;
    // MAIL and RCPT are over, too.
    Client with_recipient(const std::string &address = "127.0.0.1") const;

    // Log lines since the last call of `forget_log`, without their time stamps.
    Lines log_lines() const;
    long times_logged(const std::string &text) const;
    // Waits until a log line holds the text; false when none does within the time.
    bool logs(const std::string &text, int milliseconds = 5000) const
    {
        return comes_true([&] { return times_logged(text) > 0; }, milliseconds);
    }
    void forget_log();
    // No connection is left and everything is logged.
    void all_closed() const
    {
        EXPECT_TRUE(logs("All active sessions closed"));
    }

    // Files of a directory by name, spool files by extension.
    Lines files(const std::string &below = "qlnemails") const;
    // Content of the only file with this extension.
    std::string spooled(const std::string &extension,
                        const std::string &below = "qlnemails") const;
    // Takes the files away, as the fax server does.
    void empty_spool(const std::string &below = "qlnemails") const;
    // A message file's text after its three header lines.
    static std::string text_of(const std::string &message);

    int port_;
    pid_t process_ = -1;

  private:
    std::string directory_;
    size_t log_from_ = 0;
};
