// Stock mail clients, and a mail server that relays: what they send is what the fax
// server finds.

#include "installation.h"

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace
{

constexpr char SENDER[] = "anna@firm.example";

struct Message {
    const char *name;
    std::string file;   // what the client is given
    std::string stored; // the text in the spool
    int recipients = 1;
};

std::string repeated(const std::string &text, int times)
{
    std::string all;
    for (int i = 0; i < times; i++) {
        all += text;
    }
    return all;
}

std::string every_8_bit_byte()
{
    std::string bytes;
    for (int byte = 0x80; byte <= 0xff; byte++) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

std::vector<Message> messages()
{
    const std::string head =
        "Date: Mon, 2 Jan 2006 15:04:05 +0100\r\nFrom: <anna@firm.example>\r\n"
        "Message-ID: <1@firm.example>\r\nSubject: fax\r\n\r\n";
    const std::string lines = repeated("x", 998) + "\r\n" + repeated("y", 1023) + "\r\n" +
                              repeated("z", 1024) + "\r\n" + repeated("0123456789", 400) +
                              "\r\n";
    return {
        {"text", head + "Dear colleague,\r\n\r\n\ttwo lines\r\n",
         head + "Dear colleague,\r\n\r\n\ttwo lines\r\n"},
        {"many recipients", head + "to all\r\n", head + "to all\r\n", 45},
        {"an empty line", head + "\r\n", head + "\r\n"},
        {"dots stay doubled", head + ".\r\n..\r\n.profile\r\na.b\r\n",
         head + "..\r\n...\r\n..profile\r\na.b\r\n"},
        {"8-bit", head + every_8_bit_byte() + "\r\n", head + every_8_bit_byte() + "\r\n"},
        {"long lines", head + lines, head + lines},
        {"bare LF, last line open",
         "Date: Mon, 2 Jan 2006 15:04:05 +0100\n"
         "From: <anna@firm.example>\nMessage-ID: <1@firm.example>\n\none\n\ntwo",
         "Date: Mon, 2 Jan 2006 15:04:05 +0100\r\n"
         "From: <anna@firm.example>\r\nMessage-ID: "
         "<1@firm.example>\r\n\r\none\r\n\r\ntwo\r\n"},
        {"many lines", head + repeated("the quick brown fax\r\n", 20000),
         head + repeated("the quick brown fax\r\n", 20000)},
    };
}

std::string recipient(int number)
{
    return "fax" + std::to_string(10 + number) + "@firm.example"; // in order as text, too
}

std::string envelope(const Message &message)
{
    std::string lines = std::string("MAIL FROM: <") + SENDER + ">\r\n";
    for (int i = 0; i < message.recipients; i++) {
        lines += "RCPT TO: <" + recipient(i) + ">\r\n";
    }
    return lines;
}

// A client's command line.
struct MailClient {
    const char *name;
    const char *command, *before_recipient, *between_recipients, *end;
    bool ends_last_line; // with a line end of its own, whatever the file ends in
};

constexpr MailClient CLIENTS[] = {
    {"curl", "curl -sS smtp://127.0.0.1:$PORT/pc --mail-from $SENDER -T $FILE",
     " --mail-rcpt ", " --mail-rcpt ", "", false},
    {"swaks",
     "swaks --silent 3 --server 127.0.0.1:$PORT --helo pc --from $SENDER --data @$FILE",
     " --to ", ",", "", true},
    {"msmtp", "msmtp --host=127.0.0.1 --port=$PORT --tls=off --auth=off --from=$SENDER",
     " ", " ", " <$FILE", false},
    {"smtplib",
     "python3 -c 'import smtplib, sys; port, sender, file = sys.argv[1:4]\n"
     "with smtplib.SMTP(\"127.0.0.1\", int(port), \"pc\") as server:\n"
     "    server.sendmail(sender, sys.argv[4:], open(file, \"rb\").read())' "
     "$PORT $SENDER $FILE",
     " ", " ", "", false},
};

std::string command_line(const MailClient &client, const Message &message)
{
    std::string command = client.command;
    for (int i = 0; i < message.recipients; i++) {
        command += i == 0 ? client.before_recipient : client.between_recipients;
        command += recipient(i);
    }
    return command + client.end;
}

} // namespace

class Clients : public Installation
{
  protected:
    // Through the shell, which finds the names that the commands above use.
    void runs(const std::string &command)
    {
        runs(command, port_);
    }
    void runs(const std::string &command, int port)
    {
        setenv("PORT", std::to_string(port).c_str(), 1);
        setenv("SENDER", SENDER, 1);
        setenv("FILE", path("message").c_str(), 1);
        EXPECT_EQ(0, std::system(command.c_str())) << command;
    }

    // The texts of the spooled messages in the order of their arrival, header lines off.
    std::vector<std::string> texts() const
    {
        std::vector<std::string> found;
        for (const std::string &file : files()) {
            if (file.ends_with(".txt")) {
                found.push_back(text_of(content("qlnemails/" + file)));
            }
        }
        return found;
    }

    void empty_spool()
    {
        for (const std::string &file : files()) {
            fs::remove(path("qlnemails/" + file));
        }
    }
};

class EachClient : public Clients, public testing::WithParamInterface<MailClient>
{
};

TEST_P(EachClient, DeliversEveryMessageWhole)
{
    start();
    for (const Message &message : messages()) {
        SCOPED_TRACE(message.name);
        const bool cut = GetParam().ends_last_line && message.file.ends_with("\r\n");
        put("message", message.file.substr(0, message.file.size() - (cut ? 2 : 0)));
        runs(command_line(GetParam(), message));

        EXPECT_EQ(envelope(message), spooled(".env"));
        EXPECT_EQ(message.stored, text_of(spooled(".txt")));
        EXPECT_EQ(2U, files().size());
        empty_spool();
    }
    all_closed();
}

INSTANTIATE_TEST_SUITE_P(, EachClient, testing::ValuesIn(CLIENTS),
                         [](const auto &client) { return client.param.name; });

TEST_F(Clients, SendSeveralMessagesInOneSession)
{
    start();
    put("a", "first\r\n");
    put("b", "");
    put("c", "third\r\n");
    const std::vector<std::string> sent = {"first\r\n", "", "third\r\n"};
    std::string command = "cd " + path("") + " && curl -sS";
    for (const char *file : {"a", "b", "c"}) {
        command +=
            std::string(file[0] == 'a' ? "" : " --next -sS") +
            " smtp://127.0.0.1:$PORT/pc --mail-from $SENDER --mail-rcpt fax@x -T " + file;
    }
    runs(command);
    EXPECT_EQ(sent, texts());

    empty_spool();
    runs("python3 -c 'import smtplib, sys\n"
         "with smtplib.SMTP(\"127.0.0.1\", int(sys.argv[1])) as server:\n"
         "    for text in b\"first\\r\\n\", b\"\", b\"third\\r\\n\":\n"
         "        server.sendmail(sys.argv[2], \"fax@x\", text)' $PORT $SENDER");
    EXPECT_EQ((std::vector<std::string>{"first\r\n", "\r\n", "third\r\n"}), texts());
    EXPECT_EQ(6U, files().size());

    all_closed();
    int connections = 0;
    for (const std::string &line : log_lines()) {
        connections += line == "SMTP: [127.0.0.1] Connected" ? 1 : 0;
    }
    EXPECT_EQ(2, connections);
}

namespace
{

// A mail transfer agent that relays to the server; ended with its whole family.
class RelayingServer
{
  public:
    RelayingServer(const std::string &root, int port, int next_port)
    {
        mkdtemp(directory_);
        chmod(directory_, 0755); // its parts run as users of their own
        process_ = fork();
        if (process_ == 0) {
            setsid(); // it ends its whole process group
            const int output = open(log().c_str(), O_WRONLY | O_CREAT, 0644);
            dup2(output, STDOUT_FILENO);
            dup2(output, STDERR_FILENO);
            execl(RELAY, RELAY, root.c_str(), directory_, std::to_string(port).c_str(),
                  std::to_string(next_port).c_str(), nullptr);
            _exit(127);
        }
    }
    RelayingServer(const RelayingServer &) = delete;
    RelayingServer &operator=(const RelayingServer &) = delete;
    ~RelayingServer()
    {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
        fs::remove_all(directory_);
    }

    std::string log() const
    {
        return std::string(directory_) + "/log";
    }

  private:
    char directory_[32] = "/tmp/qln-relay-XXXXXX";
    pid_t process_;
};

} // namespace

TEST_F(Clients, AMailServerRelaysWhatItGets)
{
    const char *root = std::getenv("QLN_RELAY_ROOT");
    if (root == nullptr || geteuid() != 0) {
        GTEST_SKIP() << "no mail transfer agent in QLN_RELAY_ROOT, or not root";
    }
    start();
    const int relay_port = free_port();
    RelayingServer relay(root, relay_port, port_);

    for (const Message &message : messages()) {
        SCOPED_TRACE(message.name);
        put("message", message.file);
        runs("for try in $(seq 100); do " + command_line(CLIENTS[0], message) +
                 " 2>/dev/null && exit; sleep 0.1; done; exit 1",
             relay_port);
        for (int i = 0; i < 1000 && texts().empty(); i++) {
            usleep(10000);
        }
        ASSERT_EQ(1U, texts().size()) << slurp(relay.log());
        EXPECT_EQ(envelope(message), spooled(".env"));
        const std::string text = text_of(spooled(".txt"));
        EXPECT_EQ("Received: from ", text.substr(0, 15)); // its own line, then ours
        EXPECT_TRUE(text.ends_with("\r\n" + message.stored)) << text.substr(0, 4000);
        empty_spool();
    }
}
