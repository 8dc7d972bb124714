// Stock mail clients, and a mail server that relays: what they send is what the fax
// server finds.

#include "installation.h"

#include <csignal>
#include <cstdlib>
#include <map>

#include <sys/stat.h>
#include <sys/wait.h>

namespace
{

struct Message {
    std::string file;   // what the client is given
    std::string stored; // the text in the spool
    int recipients;
};

std::vector<Message> messages()
{
    const std::string head = "Date: Mon, 2 Jan 2006 15:04:05 +0100\r\n"
                             "From: <anna@firm.example>\r\n"
                             "Message-ID: <1@firm.example>\r\n\r\n";
    std::string lines;
    for (int byte = 0x80; byte <= 0xff; byte++) {
        lines += static_cast<char>(byte);
    }
    for (const size_t length : {0, 998, 1023, 1024, 4000}) {
        lines += copies(length, "x") + "\r\n";
    }
    lines += copies(20000, "the quick brown fax\r\n");
    return {{head + ".\r\n..\r\n.profile\r\na.b\r\n\r\n" + lines,
             head + "..\r\n...\r\n..profile\r\na.b\r\n\r\n" + lines, 45},
            {"Date: Mon, 2 Jan 2006 15:04:05 +0100\n"
             "From: <anna@firm.example>\nMessage-ID: <1@firm.example>\n\none\n\ntwo",
             head + "one\r\n\r\ntwo\r\n", 1}};
}

// All recipients of a message, each between these.
std::string recipients(const Message &message, const char *before, const char *after)
{
    std::string all;
    for (int i = 10; i < 10 + message.recipients; i++) { // in order as text, too
        all += before + ("fax" + std::to_string(i)) + "@firm.example" + after;
    }
    return all;
}

// Its command finds $PORT, $SENDER, $FILE, the recipients as arguments, and $PASSWORD
// where it is to log in as anna.
struct MailClient {
    const char *command;
    bool ends_last_line = false; // with a line end of its own, whatever the file ends in
    bool is_relayed = false;     // a stock mail transfer agent stands in between
};

constexpr char CURL[] = "curl -sS smtp://127.0.0.1:$PORT/pc --mail-from $SENDER -T $FILE "
                        "${PASSWORD+-u anna:$PASSWORD} $(printf ' --mail-rcpt %s' $@)";
const std::map<std::string, MailClient> CLIENTS = {
    {"curl", {CURL}},
    {"swaks",
     {"swaks --silent 3 --server 127.0.0.1:$PORT --helo pc --from $SENDER --data @$FILE "
      "--to $(echo $@ | tr ' ' ,) "
      "${PASSWORD+--auth LOGIN --auth-user anna --auth-password $PASSWORD}",
      true}},
    {"msmtp",
     {"msmtp --host=127.0.0.1 --port=$PORT --tls=off --auth=off --user=anna "
      "${PASSWORD+--auth=plain} --passwordeval='echo $PASSWORD' "
      "--from=$SENDER $@ <$FILE"}},
    {"smtplib", {R"(python3 -c 'import os, smtplib, sys; given = os.environ
with smtplib.SMTP("127.0.0.1", int(given["PORT"]), "pc") as server:
    if "PASSWORD" in given: server.login("anna", given["PASSWORD"])
    server.sendmail(given["SENDER"], sys.argv[1:], open(given["FILE"], "rb").read())' $@)"}},
    {"relay", {CURL, false, true}},
};

} // namespace

class EachClient : public Installation, public testing::WithParamInterface<const char *>
{
  protected:
    ~EachClient() override
    {
        if (relay_ > 0) {
            kill(relay_, SIGTERM);
            waitpid(relay_, nullptr, 0);
        }
    }
    // The client's exit code.
    int sends(const Message &message, const std::string &before = "")
    {
        const bool cut = client_.ends_last_line && message.file.ends_with("\r\n");
        put("message", message.file.substr(0, message.file.size() - (cut ? 2 : 0)));
        const std::string command =
            before + "export SENDER=anna@firm.example PORT=" + std::to_string(port_) +
            " FILE=message; set --" + recipients(message, " ", "") + "; ";
        return system((command + client_.command).c_str());
    }
    void expect_spooled(const Message &message) const
    {
        EXPECT_EQ("MAIL FROM: <anna@firm.example>\r\n" +
                      recipients(message, "RCPT TO: <", ">\r\n"),
                  spooled(".env"));
        const std::string text = text_of(spooled(".txt"));
        // The relay puts a line of its own before the others.
        EXPECT_EQ(message.stored,
                  text.substr(client_.is_relayed ? text.find("Date: ") : 0));
    }
    // From now on its port is the one to connect to.
    void start_relay(const char *root)
    {
        chmod(".", 0755); // its parts run as users of their own
        const std::string port = std::to_string(free_port());
        relay_ = fork();
        if (relay_ == 0) {
            setsid(); // it ends its whole process group
            execl(RELAY, RELAY, root, path("relay").c_str(), port.c_str(),
                  std::to_string(port_).c_str(), nullptr);
            _exit(127);
        }
        port_ = std::stoi(port);
        EXPECT_TRUE(comes_true([this] { return greets(); }, 20000));
    }

    const MailClient client_ = CLIENTS.at(GetParam());
    pid_t relay_ = -1;
};

TEST_P(EachClient, DeliversEveryMessageWhole)
{
    const bool relayed = client_.is_relayed;
    const char *root = getenv("QLN_RELAY_ROOT");
    if (relayed && (root == nullptr || geteuid() != 0)) {
        GTEST_SKIP() << "no mail transfer agent in QLN_RELAY_ROOT, or not root";
    }
    start();
    if (relayed) {
        start_relay(root);
    }
    for (const Message &message : messages()) {
        EXPECT_EQ(0, sends(message));
        ASSERT_TRUE(comes_true(
            [&] { return files().size() == 2 && files()[1].ends_with(".txt"); }, 10000))
            << content("relay/log");
        expect_spooled(message);
        empty_spool();
    }
}

TEST_P(EachClient, LogsInAndFailsAtOnceWithAWrongPassword)
{
    if (client_.is_relayed) {
        GTEST_SKIP() << "set to send without a login";
    }
    settings("ESMTP=1\r\nSMTPAUTHENTICATION=1\r\n");
    put(LOGINS, ANNAS_LOGIN);
    start();
    const Message message = messages().front();
    EXPECT_NE(0, sends(message, "exec 2>/dev/null; export PASSWORD=wrong; "));
    EXPECT_EQ(0, sends(message, "export PASSWORD=secret; "));
    expect_spooled(message);
}

INSTANTIATE_TEST_SUITE_P(, EachClient,
                         testing::Values("curl", "swaks", "msmtp", "smtplib", "relay"),
                         [](const auto &client) { return client.param; });
