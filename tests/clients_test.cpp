// Stock mail clients, and a mail server that relays: what they send is what the fax
// server finds.

#include "installation.h"

#include <csignal>
#include <cstdlib>

#include <sys/stat.h>
#include <sys/wait.h>

namespace
{

struct Message {
    const char *name;
    std::string file;   // what the client is given
    std::string stored; // the text in the spool
    int recipients = 1;
};

std::vector<Message> messages()
{
    const std::string head = "Date: Mon, 2 Jan 2006 15:04:05 +0100\r\n"
                             "From: <anna@firm.example>\r\n"
                             "Message-ID: <1@firm.example>\r\n\r\n";
    std::string every_8_bit_byte = head;
    for (int byte = 0x80; byte <= 0xff; byte++) {
        every_8_bit_byte += static_cast<char>(byte);
    }
    every_8_bit_byte += "\r\n";
    std::string long_lines = head;
    for (const size_t length : {998, 1023, 1024, 4000}) {
        long_lines += std::string(length, 'x') + "\r\n";
    }
    std::string many_lines = head;
    for (int i = 0; i < 20000; i++) {
        many_lines += "the quick brown fax\r\n";
    }
    return {
        {"many recipients", head + "\tto all\r\n", head + "\tto all\r\n", 45},
        {"dots stay doubled", head + ".\r\n..\r\n.profile\r\na.b\r\n\r\n",
         head + "..\r\n...\r\n..profile\r\na.b\r\n\r\n"},
        {"8-bit", every_8_bit_byte, every_8_bit_byte},
        {"long lines", long_lines, long_lines},
        {"bare LF, last line open",
         "Date: Mon, 2 Jan 2006 15:04:05 +0100\n"
         "From: <anna@firm.example>\nMessage-ID: <1@firm.example>\n\none\n\ntwo",
         head + "one\r\n\r\ntwo\r\n"},
        {"many lines", many_lines, many_lines},
    };
}

std::string recipient(int number)
{
    return "fax" + std::to_string(10 + number) + "@firm.example"; // in order as text, too
}

std::string envelope(const Message &message)
{
    std::string lines = "MAIL FROM: <anna@firm.example>\r\n";
    for (int i = 0; i < message.recipients; i++) {
        lines += "RCPT TO: <" + recipient(i) + ">\r\n";
    }
    return lines;
}

struct MailClient {
    const char *name;
    const char *command, *before_recipient, *between_recipients, *end;
    bool ends_last_line = false; // with a line end of its own, whatever the file ends in
    bool is_relayed = false;     // a stock mail transfer agent stands in between
    const char *login = nullptr; // what is added to log in, as anna with $PASSWORD
};

void PrintTo(const MailClient &client, std::ostream *stream) // for the runner's list
{
    *stream << client.name;
}

constexpr MailClient CLIENTS[] = {
    {"curl", "curl -sS smtp://127.0.0.1:$PORT/pc --mail-from $SENDER -T $FILE",
     " --mail-rcpt ", " --mail-rcpt ", "", false, false, " -u anna:$PASSWORD"},
    {"swaks",
     "swaks --silent 3 --server 127.0.0.1:$PORT --helo pc --from $SENDER --data @$FILE",
     " --to ", ",", "", true, false,
     " --auth LOGIN --auth-user anna --auth-password $PASSWORD"},
    {"msmtp", "msmtp --host=127.0.0.1 --port=$PORT --tls=off --auth=off --from=$SENDER",
     " ", " ", " <$FILE", false, false,
     " --auth=plain --user=anna --passwordeval='echo $PASSWORD'"},
    {"smtplib",
     "python3 -c 'import os, smtplib, sys; port, sender, file = sys.argv[1:4]\n"
     "with smtplib.SMTP(\"127.0.0.1\", int(port), \"pc\") as server:\n"
     "    if \"PASSWORD\" in os.environ: server.login(\"anna\", "
     "os.environ[\"PASSWORD\"])\n"
     "    server.sendmail(sender, sys.argv[4:], open(file, \"rb\").read())' "
     "$PORT $SENDER $FILE",
     " ", " ", "", false, false, ""},
    {"relay",
     "for try in $(seq 100); do "
     "curl -sS smtp://127.0.0.1:$PORT/pc --mail-from $SENDER -T $FILE",
     " --mail-rcpt ", " --mail-rcpt ", " 2>/dev/null && exit; sleep 0.1; done; exit 1",
     false, true},
};

std::string command_line(const MailClient &client, const Message &message,
                         const char *login = "")
{
    std::string command = std::string(client.command) + login;
    for (int i = 0; i < message.recipients; i++) {
        command += i == 0 ? client.before_recipient : client.between_recipients;
        command += recipient(i);
    }
    return command + client.end;
}

} // namespace

class EachClient : public Installation, public testing::WithParamInterface<MailClient>
{
  protected:
    ~EachClient() override
    {
        if (relay_ > 0) {
            kill(relay_, SIGTERM);
            waitpid(relay_, nullptr, 0);
        }
    }
    void start_relay(const char *root, const std::string &port)
    {
        chmod(path("").c_str(), 0755); // its parts run as users of their own
        relay_ = fork();
        if (relay_ == 0) {
            setsid(); // it ends its whole process group
            execl(RELAY, RELAY, root, path("relay").c_str(), port.c_str(),
                  std::to_string(port_).c_str(), nullptr);
            _exit(127);
        }
    }

    pid_t relay_ = -1;
};

TEST_P(EachClient, DeliversEveryMessageWhole)
{
    const MailClient &client = GetParam();
    const char *root = getenv("QLN_RELAY_ROOT");
    if (client.is_relayed && (root == nullptr || geteuid() != 0)) {
        GTEST_SKIP() << "no mail transfer agent in QLN_RELAY_ROOT, or not root";
    }
    start();
    const std::string port = std::to_string(client.is_relayed ? free_port() : port_);
    if (client.is_relayed) {
        start_relay(root, port);
    }

    for (const Message &message : messages()) {
        SCOPED_TRACE(message.name);
        const bool cut = client.ends_last_line && message.file.ends_with("\r\n");
        put("message", message.file.substr(0, message.file.size() - (cut ? 2 : 0)));
        const std::string command = "PORT=" + port +
                                    " SENDER=anna@firm.example FILE=" + path("message") +
                                    "; " + command_line(client, message);
        EXPECT_EQ(0, system(command.c_str())) << command;
        ASSERT_TRUE(comes_true(
            [&] { return files().size() == 2 && files()[1].ends_with(".txt"); }, 10000))
            << content("relay/log");

        EXPECT_EQ(envelope(message), spooled(".env"));
        const std::string text = text_of(spooled(".txt"));
        const size_t own = client.is_relayed ? text.find("Date: ") : 0; // behind its line
        EXPECT_EQ(message.stored, text.substr(own));
        empty_spool();
    }
}

TEST_P(EachClient, LogsInAndFailsAtOnceWithAWrongPassword)
{
    const MailClient &client = GetParam();
    if (client.login == nullptr) {
        GTEST_SKIP() << "set to send without a login";
    }
    settings("ESMTP=1\r\nSMTPAUTHENTICATION=1\r\n");
    put("DATA/RAW/SMTPLOGINS.DAT", "anna:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1\n");
    start();
    const Message message = messages()[2];
    put("message", message.file);
    const std::string command = " PORT=" + std::to_string(port_) +
                                " SENDER=anna@firm.example FILE=" + path("message") +
                                "; " + command_line(client, message, client.login);
    EXPECT_NE(0, system(("exec 2>/dev/null; export PASSWORD=wrong" + command).c_str()));
    EXPECT_EQ(0, system(("export PASSWORD=secret" + command).c_str()));
    EXPECT_EQ(envelope(message), spooled(".env"));
    EXPECT_TRUE(text_of(spooled(".txt")).starts_with(message.stored));
}

INSTANTIATE_TEST_SUITE_P(, EachClient, testing::ValuesIn(CLIENTS),
                         [](const auto &client) { return client.param.name; });
