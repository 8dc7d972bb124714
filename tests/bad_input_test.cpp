// Clients that break off, and days on which the disk does.

#include "installation.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

TEST_F(Installation, AConnectionMayBreakAtAnyByte)
{
    settings("SocketTimeout=0\r\n");
    start();
    greeted().leaves(); // the first client has opened what stays open
    all_closed();
    forget_log();
    const size_t settled = open_descriptors();
    const Lines steps = {"HELO pc\r\n", "MAIL FROM:<a@b>\r\n", "RCPT TO:<c@d>\r\n",
                         "DATA\r\n",    "one\r\n..\r\n.\r\n",  "QUIT\r\n"};
    size_t finished = 0;
    size_t left = 1; // of the bytes to say
    for (size_t cut = 0; cut < 150; cut++) {
        Client client = connect_from();
        client.hears();
        left = cut / 2;
        for (size_t i = 0; i < steps.size() && left > 0; i++) {
            const std::string part = steps[i].substr(0, left);
            client.says(part);
            left -= part.size();
            EXPECT_TRUE(part != steps[i] || !client.hears().empty());
            finished += i == 4 && part == steps[i] ? 1 : 0;
        }
        const linger at_once{static_cast<int>(cut % 2), 0}; // without TCP's farewell
        setsockopt(client.socket(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    }
    EXPECT_LT(0U, left); // everything has been said, too
    EXPECT_TRUE(comes_true([&] { return open_descriptors() == settled; }));
    EXPECT_EQ(2 * finished, files().size());
    forget_log();
    const Client next = greeted();
    EXPECT_TRUE(logs("SMTP: [1] connection active"));
}

// A pipe where a list or the log is expected, little room for files and descriptors, and
// output that nobody reads.
TEST_F(Installation, HostileSurroundingsHoldNobodyUp)
{
    settings("ACCEPTVALIDADDRESSONLY=1\r\n");
    for (const char *name : {"output", ACCEPTED, DOMAINS}) {
        ASSERT_EQ(0, mkfifo(name, 0600));
    }
    const int output = open("output", O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    start({"prlimit", "--nofile=40:400", "--fsize=1000000", "sh", "-c",
           "exec \"$@\" >output", "sh"});
    EXPECT_EQ("503 ", connect_from().hears().substr(0, 4));
    settings("USEDOMAINS=1\r\nFULLDETAIL=1\r\n");
    const std::vector<Client> many = crowd(60); // more than the soft limit
    Client client = greeted();
    [[maybe_unused]] const size_t before = memory();
    const std::string mail = "MAIL FROM:<" + copies(400, "s") + "@any.example>\r\n";
    for (int i = 0; i < 100; i++) { // some 2 KB of output each, 100 at a time
        client.says(copies(100, mail));
        ASSERT_EQ(copies(100, OK), client.hears_lines(100));
    }
#ifndef __SANITIZE_ADDRESS__ // it keeps what is given back for a while
    EXPECT_LT(memory() - before, 10U << 20) << "output that waits is bounded";
#endif
    close(output);
    EXPECT_EQ("451 ",
              client.delivers(copies(20000, copies(60, "x") + "\n")).substr(0, 4));
    fs::rename(LOG, "LOGS/old");
    ASSERT_EQ(0, mkfifo(LOG, 0600));
    client.asks("MAIL FROM:<a@any.example>");
    EXPECT_NE("", client.delivers("text\r\n"));
    EXPECT_EQ("text\r\n", text_of(spooled(".txt")));
}

TEST_F(Installation, AMessageThatCannotBeStoredIsNotAccepted)
{
    const std::string refusal =
        "451 Message could not be stored, please try again later\r\n";
    start();
    Client client = with_recipient();
    fs::remove_all("qlnemails");
    // A new transaction has no reply: the next one is another command's.
    Client other = greeted();
    EXPECT_EQ("214 ", other.asks("MAIL FROM:<a@b.example>\r\nHELP").substr(0, 4));
    EXPECT_TRUE(logs("FATAL ERROR - Unable to open output file for mail message..."));
    EXPECT_EQ(refusal, client.asks("RCPT TO:<x@y>"));
    EXPECT_TRUE(logs("Envelope could not be written - No such file or directory"));
    EXPECT_EQ(refusal, client.delivers("QUIT\r\nRCPT TO:<text@not.a.command>\r\n"));
    EXPECT_TRUE(logs("Message could not be stored - No such file or directory"));
    fs::create_directory("qlnemails");

    client.asks("MAIL FROM:<>");
    client.asks("DATA");
    // It is not there yet when the text is asked for.
    const std::string body = "qlnemails/" + files().at(0).substr(0, 18) + ".tmp";
    EXPECT_TRUE(comes_true([&] { return fs::remove(body); }));
    EXPECT_EQ(refusal, client.asks("taken away\r\n."));
    EXPECT_EQ(Lines{}, files());

    client.asks("MAIL FROM:<>");
    client.says("QUIT\r\n" + copies(5000, "unread\r\n")); // is no reason for a reset
    EXPECT_EQ("221", client.hears().substr(0, 3));
    EXPECT_TRUE(client.is_closed());
    EXPECT_TRUE(comes_true([&] { return files().empty(); })); // right after that
}
