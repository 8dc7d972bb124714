// Clients that do their worst, and days on which the disk does.

#include "installation.h"

#include <sys/socket.h>

#include <filesystem>
#include <random>
#include <thread>

namespace fs = std::filesystem;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

namespace
{

constexpr char OK[] = "250 OK\r\n";
constexpr char NOT_STORED[] =
    "451 Message could not be stored, please try again later\r\n";

// Closes without the farewell of TCP.
void break_off(Client *client)
{
    const linger at_once{1, 0};
    setsockopt(client->socket(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    client->leaves();
}

} // namespace

class BadInput : public Installation
{
  protected:
    BadInput()
    {
        settings("SocketTimeout=0\r\n");
    }

    void serve(const std::vector<std::string> &prefix = {})
    {
        start(prefix);
        const Client probe = greeted(); // answered: no log file is open at the moment
        settled_ = open_descriptors() - 1;
    }

    // Nobody is connected any more, nothing was left open, another client's message is
    // taken, and the spool holds it, that many others, and nothing else.
    void is_unharmed(size_t finished)
    {
        for (int i = 0; i < 1000 && !all_are_gone(); i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_EQ(settled_, open_descriptors());
        forget_log();
        Client client = with_recipient();
        EXPECT_TRUE(logs("SMTP: [1] connection active"));
        client.asks("DATA");
        EXPECT_EQ(OK, client.asks("after all\r\n."));
        EXPECT_EQ(2 * (finished + 1), files().size());
        for (const std::string &name : files()) {
            EXPECT_TRUE(exists("qlnemails/" + name.substr(0, 18) + ".env")) << name;
            EXPECT_TRUE(exists("qlnemails/" + name.substr(0, 18) + ".txt")) << name;
        }
        EXPECT_TRUE(files("mailin").empty() && files("pending").empty());
    }

  private:
    bool all_are_gone()
    {
        const Lines lines = log_lines();
        return lines.size() > 1 && lines.back() == "<>" &&
               lines.end()[-2].ends_with("All active sessions closed") &&
               open_descriptors() == settled_;
    }

    size_t settled_ = 0;
};

TEST_F(BadInput, RubbishAndEndlessLinesDoNoHarm)
{
    serve();
    std::mt19937 random(20261122);
    std::string rubbish(200000, '\0');
    for (char &byte : rubbish) {
        byte = static_cast<char>(random());
    }
    std::string storm; // half commands between rubbish
    for (size_t at = 0; at + 100 < rubbish.size(); at += 100) {
        const char *const halves[] = {"MAIL FROM:<", "RCPT TO:", "\nDATA\r", "RSET"};
        storm += rubbish.substr(at, at % 37) + "\r\n" + halves[at / 100 % 4];
    }
    for (const std::string &bytes : {rubbish, std::string(200000, 'A'), storm}) {
        connect_from().says(bytes);
        greeted().says(bytes);
        with_recipient().says(bytes);
        Client text = with_recipient();
        text.asks("DATA");
        text.says(bytes);
    }
    Client half = connect_from();
    half.says("HELO");
    half.stops_sending();
    EXPECT_EQ("220 ", half.hears_rest().substr(0, 4));
    is_unharmed(0);
}

TEST_F(BadInput, AClientThatNeverReadsIsDisconnected)
{
    serve();
    Client deaf = greeted("127.0.0.66");
    std::string noops;
    for (int i = 0; i < 10000; i++) {
        noops += "NOOP\r\n";
    }
    bool cut = false;
    std::thread sender([&] {
        for (int i = 0; i < 500 && !cut; i++) {
            cut = !deaf.says(noops);
        }
    });
    Client other = with_recipient();
    other.asks("DATA");
    EXPECT_EQ(OK, other.asks("."));
    other.leaves();
    sender.join();
    EXPECT_TRUE(cut);
    EXPECT_TRUE(logs("SMTP: [127.0.0.66] disconnected"));
    is_unharmed(1);
}

TEST_F(BadInput, AConnectionMayBreakAtAnyByte)
{
    serve();
    const Lines steps = {"HELO pc\r\n", "MAIL FROM:<a@b>\r\n", "RCPT TO:<c@d>\r\n",
                         "DATA\r\n",    "one\r\n..\r\n.\r\n",  "QUIT\r\n"};
    size_t finished = 0;
    size_t said = 0;
    for (size_t cut = 0; said == cut; cut++) { // until the dialogue has no more bytes
        for (const bool broken : {false, true}) {
            Client client = connect_from();
            client.hears();
            said = 0;
            for (size_t i = 0; i < steps.size() && said < cut; i++) {
                const std::string part = steps[i].substr(0, cut - said);
                client.says(part);
                said += part.size();
                if (part == steps[i]) {
                    EXPECT_NE("", client.hears());
                    finished += i == 4 ? 1 : 0;
                }
            }
            if (broken) {
                break_off(&client);
            }
        }
    }
    is_unharmed(finished);
}

TEST_F(BadInput, AByteAtATimeIsAMessageToo)
{
    serve();
    Client slow = connect_from("127.0.0.2");
    Client quick = greeted();
    for (const char byte :
         "HELO pc\r\nMAIL FROM:<a@b>\r\nRCPT TO:<c@d>\r\nDATA\r\nslow\r\n.\r\nQUIT\r"s) {
        slow.says({byte});
        EXPECT_EQ(OK, quick.asks("NOOP")); // nobody waits for the slow one, and its
        EXPECT_EQ(OK, quick.asks("NOOP")); // byte has been received by now
    }
    slow.hears(); // the greeting
    EXPECT_EQ("250 Welcome [pc], pleased to meet you.\r\n250 OK\r\n250 OK\r\n"
              "354 Start mail input; end with <CRLF>.<CRLF>\r\n250 OK\r\n"
              "221 Quillon email-to-fax SMTP service closing\r\n",
              slow.hears_rest());
    // The text begins with the chunk behind that of DATA's CR: with its LF.
    EXPECT_EQ("\r\nslow\r\n", text_of(spooled(".txt")));
    quick.leaves();
    is_unharmed(1);
}

TEST_F(BadInput, AMessageThatCannotBeStoredIsNotAccepted)
{
    serve({"prlimit", "--fsize=100000"});
    Client client = with_recipient();
    fs::remove_all(path("qlnemails"));
    EXPECT_EQ(NOT_STORED, client.asks("RCPT TO:<x@y>"));
    EXPECT_TRUE(logs("Envelope could not be written - No such file or directory"));
    EXPECT_EQ("354 ", client.asks("DATA").substr(0, 4));
    EXPECT_TRUE(logs("Message could not be stored - No such file or directory"));
    EXPECT_EQ(NOT_STORED, client.asks("QUIT\r\nRCPT TO:<text@not.a.command>\r\n."));
    fs::create_directory(path("qlnemails"));

    EXPECT_EQ(OK, client.asks("MAIL FROM:<>"));
    client.asks("DATA");
    for (int i = 0; i < 200; i++) {
        client.says(std::string(1000, 'x') + "\r\n");
    }
    EXPECT_EQ(NOT_STORED, client.asks("."));
    EXPECT_TRUE(logs("Message could not be stored - File too large"));
    EXPECT_EQ(Lines{}, files());

    EXPECT_EQ(OK, client.asks("MAIL FROM:<>"));
    client.asks("DATA");
    const std::string body = "qlnemails/" + files()[0].substr(0, 18) + ".tmp";
    for (int i = 0; i < 1000 && !fs::remove(path(body)); i++) {
        client.is_closed(5); // created behind the reply
    }
    EXPECT_EQ(NOT_STORED, client.asks("."));
    EXPECT_EQ(Lines{}, files());

    EXPECT_EQ(OK, client.asks("MAIL FROM:<>"));
    client.asks("DATA");
    const std::string base = files()[0].substr(0, 18);
    fs::create_directory(path("qlnemails/" + base + ".txt"));
    EXPECT_EQ(NOT_STORED, client.asks("kept\r\n."));
    EXPECT_TRUE(logs("Message could not be handed over, it is kept in [" +
                     path("").substr(0, path("").size() - 1) + "\\qlnemails\\" + base +
                     ".tmp] - Is a directory"));
    client.leaves();
    all_closed();
    EXPECT_EQ("kept\r\n", text_of(spooled(".tmp")));
    EXPECT_EQ("MAIL FROM: <>\r\n", spooled(".env"));
    empty_spool();
    is_unharmed(0);
}
