// Conversations with the command engine: bytes in, bytes out, log lines.

#include "installation.h"

#include <sys/socket.h>

#include <csignal>
#include <regex>

constexpr char GOODBYE[] = "221 Quillon email-to-fax SMTP service closing\r\n";
constexpr char WELCOME[] = "250 Welcome [";
constexpr char PLEASED[] = "], pleased to meet you.\r\n";
constexpr char NO_VRFY[] = "502 Sorry, VRFY command is not supported by this server\r\n";
constexpr char TOO_LONG[] = "501 Address too long\r\n";

class Dialogue : public Installation
{
  protected:
    Dialogue()
    {
        settings("SocketTimeout=0\r\n"); // and so no log line of the timer's first tick
        put(USERS, "[USER0]\r\nFULLEMAIL=anna@firm.example\r\n");
        put(DOMAINS, "firm.example,1\r\n");
        start();
    }
};

TEST_F(Dialogue, HeloIsWaitedFor)
{
    const struct {
        std::string said, heard, then;
    } cases[] = {
        {"ehlo\r\n", WELCOME + "127.0.0.1"s + PLEASED, OK},
        {"HELOX first second\n", WELCOME + "first"s + PLEASED, OK},
        {"\t EhloABC\tname\0"s, WELCOME + "name"s + PLEASED, OK},
        {"EHLO " + copies(300, "n") + "\r\n", WELCOME + copies(255, "n") + PLEASED, OK},
        {" QUIT\r\n", UNRECOGNIZED, WELCOME + "pc"s + PLEASED},
    };
    for (const auto &one : cases) {
        Client client = connect_from();
        client.hears();
        // The rest of the chunk is discarded with the line's LF.
        client.says(one.said + "VRFY\r\nTURN\r\n");
        EXPECT_EQ(one.heard, client.hears());
        EXPECT_EQ(one.then, client.asks("HELO pc\r\nNOOP"));
    }
    Client client = connect_from();
    client.says("qUIT\r\nNOOP\r\n");
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    EXPECT_EQ("220 ["s + host +
                  "] Quillon email-to-fax SMTP server 2.61.00, Quillon email-to-fax SMTP "
                  "service ready\r\n" +
                  GOODBYE,
              client.hears_rest());
}

TEST_F(Dialogue, EveryLineOfAChunkIsACommand)
{
    Client client = greeted();
    client.says("NOOP\r\nHELO again\r\n\r\nnoop\nNoOp x\0VRFY anna\r\nturn\r\n"s
                "HELP\r\nRSET\r\nXYZ\r\nMAIL  FROM:<a>\r\n MAIL FROM:<a>\r\n"
                "RCPT  TO:<a>\r\nrcpt to:\r\nRCPT TO:  \r\nRCPTTO:<a>\r\n"
                "DATAX\r\nQUIT now\r\nNOOP\r\n");
    EXPECT_EQ(copies(3, OK) + NO_VRFY +
                  "502 Sorry, TURN command not supported by this server\r\n"
                  "214 Commands: HELO EHLO AUTH MAIL RCPT DATA RSET NOOP QUIT HELP\r\n" +
                  OK + copies(4, UNRECOGNIZED) + "550 No such user here\r\n" + GOODBYE,
              client.hears_rest());
    Client ahead = greeted();
    kill(process_, SIGSTOP);
    ahead.says(copies(1000, "NOOP\r\n"));
    shutdown(ahead.socket(), SHUT_WR); // what was said before it counts
    kill(process_, SIGCONT);
    EXPECT_EQ(copies(1000, OK), ahead.hears_rest());
    EXPECT_TRUE(logs("SMTP: [127.0.0.1] Verify from client - REFUSED"));
    EXPECT_TRUE(logs("SMTP: [127.0.0.1] Received bad MAIL FROM command"));
    EXPECT_TRUE(logs("SMTP: 5 - [127.0.0.1] Received bad RCPT TO command"));
}

TEST_F(Dialogue, LongLinesAreCutAndLongAddressesRefused)
{
    Client client = greeted();
    // A line keeps its first 1,023 bytes, whatever the chunks it comes in.
    EXPECT_EQ(OK, client.asks("mail from:" + copies(1008, " ") + "<anna@firm.example>" +
                              copies(3000, "x")));
    // A cut address would be somebody else's.
    EXPECT_EQ(OK, client.asks("RCPT TO:<" + copies(498, "r") + ">"));
    EXPECT_EQ(TOO_LONG, client.asks("RCPT TO:<" + copies(499, "r") + ">"));
    EXPECT_EQ("MAIL FROM: <anna\r\nRCPT TO: <" + copies(498, "r") + ">\r\n",
              spooled(".env"));
    EXPECT_EQ(TOO_LONG, client.asks("MAIL FROM:<" + copies(456, "s") + ">"));
    EXPECT_TRUE(logs("SMTP: [127.0.0.1] MAIL FROM refused, the address is too long"));
    EXPECT_EQ(Lines{}, files()) << "nobody's next recipient goes onto that envelope";
    EXPECT_EQ(OK, client.asks("MAIL FROM:<" + copies(455, "s") + ">"));
    EXPECT_EQ("MAIL FROM: <" + copies(455, "s") + ">\r\n", spooled(".env"));
}

TEST_F(Dialogue, FullDetailTellsEveryStep)
{
    settings("SocketTimeout=0\r\nFULLDETAIL=1\r\nUSEDOMAINS=1\r\n");
    Client client = greeted();
    for (const char *line :
         {"MAIL FROM:<Anna@Firm.Example>", "RCPT TO:bob@other.example", "DATA", "."}) {
        EXPECT_NE("", client.asks(line));
    }
    std::string file = path("");
    file.back() = '\\';
    file += "qlnemails\\" + files().at(0).substr(0, 18);
    for (const std::string &text :
         {"sender email address received [<Anna@Firm.Example>]"s,
          "senders address is a local user"s, "MAIL FROM: <Anna@Firm.Example>"s,
          "recipients address is not recognized as a local user"s, "==> [250 Welcome"s,
          "Opening file [" + file + ".tmp]", "Message file [" + file + ".tmp] closed "}) {
        EXPECT_TRUE(logs(text, 0)) << text;
    }
    EXPECT_TRUE(content(LOG).ends_with(" : ***DEBUG***  File renamed to [" + file +
                                       ".txt] and is now available to Quillon\r\n"));
}

TEST_F(Dialogue, EveryClientNeedsAnAcceptedDomainOfItsOwn)
{
    settings("SMTPAUTHENTICATION=1\r\nUSEDOMAINS=1\r\n");
    Client first = greeted();
    first.asks("AUTH LOGIN");
    EXPECT_EQ(OK, first.asks("MAIL FROM:<anna@firm.example>"));
    first.says("half a command");
    first.leaves();
    all_closed();

    Client next = greeted();
    EXPECT_EQ("530 Authentication required\r\n", next.asks("RCPT TO:<bob>"));
    settings("USEDOMAINS=1\r\n");
    for (const char *line :
         {"RCPT TO:<mailto:BOB@Else.Example>", "MAIL FROM:<eve@other.example>",
          "RCPT TO:fax@FIRM.example", "RCPT TO:bob@other.example"}) {
        EXPECT_EQ(OK, next.asks(line));
    }
    EXPECT_EQ(OK, next.delivers(""));
    next.says("MAIL forgets what was accepted\r\nRCPT TO:bob\r\nDATA\r\nNOOP\r\n");
    EXPECT_EQ(
        UNRECOGNIZED + ""s + OK +
            "550 No acceptable domains in sender/recipients list, message refused\r\n" +
            GOODBYE,
        next.hears_rest());
    EXPECT_EQ(2U, files("mailin").size());
    EXPECT_TRUE(logs("Recipient domain [else.example] NOT accepted..."));
    EXPECT_TRUE(logs("Sender domain [other.example] NOT accepted..."));
    EXPECT_TRUE(logs("NO valid recipient domain identified, message refused"));
}

TEST_F(Dialogue, MessageTextBeginsWithTheNextChunk)
{
    Client client = with_recipient();
    const size_t descriptors = open_descriptors();
    client.says("DATA\r\nHidden: by no verb\r\nNOOP\r\nfrag");
    EXPECT_EQ(START_MAIL + ""s + OK, client.hears_lines(2));
    // After the end line all is dropped, but for the beginning of the next command.
    client.says("ment\r\n.\r\nQUIT\r\n.\r\nVR");
    EXPECT_EQ(OK, client.hears());
    EXPECT_EQ(NO_VRFY, client.asks("FY"));
    EXPECT_EQ("fragment\r\n", text_of(spooled(".txt")));
    empty_spool();

    // The same when it was sent ahead, in chunks that are handled in parts.
    std::string chunks =
        copies(341, "\r\n\n") + copies(6, "NOOP\r\n") +
        "MAIL FROM:<anna@firm.example>\r\nDATA\r\nHidden: by no verb\r\n";
    chunks += copies(size_t{2046} - chunks.size(), "\n") + "ahead\r\n.\r\n";
    client.says(chunks);
    EXPECT_EQ(copies(7, OK) + START_MAIL + OK, client.hears_lines(9));
    EXPECT_EQ("ahead\r\n", text_of(spooled(".txt")));
    empty_spool();

    // A body that is begun again, or given up by RSET, leaves nothing open.
    client.says("RCPT TO:<fax@firm.example>\r\n" + copies(5, "DATA\r\nRSET\r\nDATA\r\n"));
    EXPECT_EQ(OK + copies(5, START_MAIL + ""s + OK + START_MAIL), client.hears_lines(16));
    EXPECT_LE(open_descriptors(), descriptors + 1);
    EXPECT_EQ(OK, client.asks("once\r\n."));
    EXPECT_EQ("once\r\n", text_of(spooled(".txt", "pending")));
}

TEST_F(Dialogue, MessageLinesAreStoredAsTheyCameAndEndInCrLf)
{
    const std::string sent =
        "..\r\n. \r\n. \n.\r.\r\nbare\n\na\0b\r\n\0\n.\0\r\n\xE4\xFF\r in\r\n"s +
        copies(1023, "a") + "\n" + copies(1022, "b") + "\r\n" + copies(2046, "c") +
        "\r\n" + copies(2500, "d") + "\n" + copies(1022, "f") + ".\r\n" +
        copies(1023, "e");
    const std::string stored = std::regex_replace(sent, std::regex("\r?\n"), "\r\n");
    Client client = greeted();
    const size_t first = sent.find("bb") + 1022; // one byte less than a line can have
    for (const size_t piece : {first, size_t{1023}, size_t{100}, size_t{1}}) {
        EXPECT_EQ(OK, client.asks("MAIL FROM:<>"));
        EXPECT_EQ(START_MAIL, client.asks("DATA"));
        for (size_t at = 0; at < sent.size(); at += piece) {
            client.says(sent.substr(at, piece));
            sleep_ms(piece == first ? 10 : 0);
        }
        client.says(piece == 1 ? ".\n" : ".\r\n");
        EXPECT_EQ(OK, client.hears());
        EXPECT_EQ(stored, text_of(spooled(".txt"))) << "in pieces of " << piece;
        empty_spool();
    }
    // No further message without a further transaction.
    client.says("DATA\r\n");
    EXPECT_EQ(START_MAIL, client.hears_rest());
    EXPECT_TRUE(files().empty());
}
