// Clients that do their worst, and days on which the disk does.

#include "installation.h"

#include <sys/socket.h>

#include <filesystem>
#include <random>
#include <thread>

namespace fs = std::filesystem;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

class BadInput : public Installation
{
  protected:
    void serve(const std::vector<std::string> &prefix = {})
    {
        settings("SocketTimeout=0\r\n");
        start(prefix);
        const Client probe = greeted(); // answered: no log file is open at the moment
        settled_ = open_descriptors() - 1;
    }

    // Nobody is connected any more, nothing was left open, another client's message is
    // taken, and the spool holds it, that many others, and nothing else.
    void is_unharmed(size_t finished)
    {
        EXPECT_TRUE(comes_true([&] { return open_descriptors() == settled_; }));
        forget_log();
        Client client = with_recipient();
        EXPECT_TRUE(logs("SMTP: [1] connection active"));
        client.asks("DATA");
        EXPECT_EQ("250 OK\r\n", client.asks("after all\r\n."));
        EXPECT_EQ(2 * (finished + 1), files().size());
        EXPECT_TRUE(files("mailin").empty() && files("pending").empty());
    }

  private:
    size_t settled_ = 0;
};

TEST_F(BadInput, RubbishAndEndlessLinesDoNoHarm)
{
    serve();
    std::mt19937 random(20261122);
    std::string rubbish; // between half commands
    for (int i = 0; i < 200000; i++) {
        const char *const halves[] = {"MAIL FROM:<", "RCPT TO:", "\nDATA\r", "RSET"};
        rubbish += i % 100 == 0 ? "\r\n"s + halves[i / 100 % 4] : ""s;
        rubbish += static_cast<char>(random());
    }
    for (const std::string &bytes : {rubbish, std::string(200000, 'A')}) {
        connect_from().says(bytes);
        greeted().says(bytes);
        with_recipient().says(bytes);
        Client text = with_recipient();
        text.asks("DATA");
        text.says(bytes);
    }
    Client half = connect_from();
    half.says("HELO");
    shutdown(half.socket(), SHUT_WR);
    EXPECT_EQ("220 ", half.hears_rest().substr(0, 4));
    is_unharmed(0);
}

TEST_F(BadInput, AConnectionMayBreakAtAnyByte)
{
    serve();
    const Lines steps = {"HELO pc\r\n", "MAIL FROM:<a@b>\r\n", "RCPT TO:<c@d>\r\n",
                         "DATA\r\n",    "one\r\n..\r\n.\r\n",  "QUIT\r\n"};
    size_t finished = 0;
    size_t said = 0;
    for (size_t cut = 0; said == cut / 2; cut++) { // until there are no more bytes
        Client client = connect_from();
        client.hears();
        said = 0;
        for (size_t i = 0; i < steps.size() && said < cut / 2; i++) {
            const std::string part = steps[i].substr(0, cut / 2 - said);
            client.says(part);
            said += part.size();
            EXPECT_TRUE(part != steps[i] || !client.hears().empty());
            finished += i == 4 && part == steps[i] ? 1 : 0;
        }
        const linger at_once{static_cast<int>(cut % 2), 0}; // without TCP's farewell
        setsockopt(client.socket(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    }
    is_unharmed(finished);
}

TEST_F(BadInput, NobodyWaitsForTheSlowAndTheDeaf)
{
    serve();
    std::thread never_reads([&] {
        Client deaf = greeted("127.0.0.66");
        for (int i = 0; i < 500000 && deaf.says("NOOP\r\nNOOP\r\nNOOP\r\nNOOP\r\n");
             i++) {
        }
        EXPECT_TRUE(logs("SMTP: [127.0.0.66] disconnected"));
    });
    Client slow = connect_from("127.0.0.2");
    Client quick = greeted();
    for (const char byte :
         "HELO pc\r\nMAIL FROM:<a@b>\r\nRCPT TO:<c@d>\r\nDATA\r\nslow\r\n.\r\nQUIT\r"s) {
        slow.says({byte});
        EXPECT_EQ("250 OK\r\n", quick.asks("NOOP"));
        EXPECT_EQ("250 OK\r\n", quick.asks("NOOP")); // the byte has been received by now
    }
    slow.hears(); // the greeting
    EXPECT_EQ("250 Welcome [pc], pleased to meet you.\r\n250 OK\r\n250 OK\r\n"
              "354 Start mail input; end with <CRLF>.<CRLF>\r\n250 OK\r\n"
              "221 Quillon email-to-fax SMTP service closing\r\n",
              slow.hears_rest());
    // The text begins with the chunk behind that of DATA's CR: with its LF.
    EXPECT_EQ("\r\nslow\r\n", text_of(spooled(".txt")));
    quick.leaves();
    never_reads.join();
    is_unharmed(1);
}

TEST_F(BadInput, AMessageThatCannotBeStoredIsNotAccepted)
{
    const std::string refusal =
        "451 Message could not be stored, please try again later\r\n";
    serve({"prlimit", "--fsize=100000"});
    Client client = with_recipient();
    fs::remove_all(path("qlnemails"));
    EXPECT_EQ(refusal, client.asks("RCPT TO:<x@y>"));
    EXPECT_TRUE(logs("Envelope could not be written - No such file or directory"));
    client.asks("DATA");
    EXPECT_TRUE(logs("Message could not be stored - No such file or directory"));
    EXPECT_EQ(refusal, client.asks("QUIT\r\nRCPT TO:<text@not.a.command>\r\n."));
    fs::create_directory(path("qlnemails"));

    client.asks("MAIL FROM:<>");
    EXPECT_EQ("354 ", client.asks("DATA").substr(0, 4));
    for (int i = 0; i < 200; i++) {
        client.says(std::string(1000, 'x') + "\r\n");
    }
    EXPECT_EQ(refusal, client.asks("."));
    EXPECT_TRUE(logs("Message could not be stored - File too large"));
    EXPECT_EQ(Lines{}, files());

    client.asks("MAIL FROM:<>");
    const std::string base = "qlnemails/" + files().at(0).substr(0, 18);
    fs::create_directory(path(base + ".txt"));
    client.asks("DATA");
    EXPECT_EQ(refusal, client.asks("kept\r\n."));
    EXPECT_TRUE(logs("Message could not be handed over, it is kept in ["));
    EXPECT_TRUE(logs(base.substr(10) + ".tmp] - Is a directory"));
    client.leaves();
    all_closed();
    EXPECT_EQ("kept\r\n", text_of(spooled(".tmp")));
    EXPECT_EQ("MAIL FROM: <>\r\n", spooled(".env"));
    empty_spool();
    is_unharmed(0);
}
