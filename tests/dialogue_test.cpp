// Conversations with the command engine: bytes in, bytes out, log lines.

#include "installation.h"

#include <regex>

#include <unistd.h>

using namespace std::string_literals;
using Lines = std::vector<std::string>;

namespace
{

constexpr char OK[] = "250 OK\r\n";
constexpr char UNRECOGNIZED[] = "500 Error command unrecognized\r\n";
constexpr char START_MAIL[] = "354 Start mail input; end with <CRLF>.<CRLF>\r\n";
constexpr char GOODBYE[] = "221 Quillon email-to-fax SMTP service closing\r\n";
constexpr char NO_VRFY[] = "502 Sorry, VRFY command is not supported by this server\r\n";
constexpr char TOO_LONG[] = "501 Address too long\r\n";

std::string welcome(const std::string &name)
{
    return "250 Welcome [" + name + "], pleased to meet you.\r\n";
}

std::string copies(size_t count, const std::string &text)
{
    std::string all;
    while (count-- > 0) {
        all += text;
    }
    return all;
}

} // namespace

class Dialogue : public Installation
{
  protected:
    Dialogue()
    {
        settings("SocketTimeout=0\r\n"); // and so no log line of the timer's first tick
        put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nFULLEMAIL=anna@firm.example\r\n");
        put("DATA/RAW/DOMAIN.DAT", "firm.example,1\r\n");
    }
    // The log of the last client up to its end, but for times ("@") and the names of the
    // installation ("DIR") and of spool files ("NAME").
    std::string log_text()
    {
        all_closed();
        std::string text;
        for (const std::string &line : log_lines("@ ")) {
            text += line + "\n";
        }
        text = text.substr(0, text.find("@ SMTP: [127.0.0.1] disconnected\n"));
        text = std::regex_replace(text, std::regex("/tmp/qln-test-\\w{6}"), "DIR");
        return std::regex_replace(text, std::regex("[0-9a-f]{18}"), "NAME");
    }
};

TEST_F(Dialogue, HeloIsWaitedFor)
{
    start();
    const struct {
        std::string said, heard, then;
    } cases[] = {
        {"HELO pc20\r\n", welcome("pc20"), OK},
        {"ehlo\r\n", welcome("127.0.0.1"), OK},
        {"HELOX first second\n", welcome("first"), OK},
        {"\t EhloABC\tname\0"s, welcome("name"), OK},
        {"EHLO " + copies(300, "n") + "\r\n", welcome(copies(255, "n")), OK},
        {" QUIT\r\n", UNRECOGNIZED, welcome("pc")},
        {"NOOP\r\n", UNRECOGNIZED, welcome("pc")},
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
    start();
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
    for (const char *text : {"SMTP: [127.0.0.1] Verify from client - REFUSED",
                             "SMTP: TURN command from client - REFUSED",
                             "SMTP: [127.0.0.1] Received bad MAIL FROM command",
                             "SMTP: 1 - [127.0.0.1] Received bad RCPT TO command",
                             "SMTP: 5 - [127.0.0.1] Received bad RCPT TO command"}) {
        EXPECT_TRUE(logs(text)) << text;
    }
}

TEST_F(Dialogue, LongLinesAreCutAndLongAddressesRefused)
{
    start();
    Client client = greeted();
    // A line keeps its first 1,023 bytes, whatever the chunks it comes in.
    EXPECT_EQ(OK, client.asks("mail from:" + copies(1008, " ") + "<anna@firm.example>" +
                              copies(3000, "x")));
    // A cut address would be somebody else's.
    EXPECT_EQ(OK, client.asks("RCPT TO:<" + copies(498, "r") + ">"));
    EXPECT_EQ(TOO_LONG, client.asks("RCPT TO:<" + copies(499, "r") + ">"));
    EXPECT_EQ(TOO_LONG, client.asks("MAIL FROM:<" + copies(456, "s") + ">"));
    EXPECT_TRUE(logs("SMTP: [127.0.0.1] RCPT TO refused, the address is too long"));
    EXPECT_TRUE(logs("SMTP: [127.0.0.1] MAIL FROM refused, the address is too long"));
    EXPECT_EQ("MAIL FROM: <anna\r\nRCPT TO: <" + copies(498, "r") + ">\r\n",
              spooled(".env"));
    EXPECT_EQ(OK, client.asks("MAIL FROM:<" + copies(455, "s") + ">"));
    EXPECT_EQ("MAIL FROM: <" + copies(455, "s") + ">\r\n", spooled(".env"));
}

TEST_F(Dialogue, FullDetailTellsEveryStep)
{
    settings("SocketTimeout=0\r\nFULLDETAIL=1\r\nUSEDOMAINS=1\r\n");
    start();
    Client client = greeted();
    forget_log();
    for (const char *line :
         {"MAIL FROM:<Anna@Firm.Example>", "RCPT TO:bob@other.example", "DATA",
          "text\r\n.", "RCPT TO:<anna@firm.example>", "DATA"}) {
        EXPECT_NE("", client.asks(line));
    }
    client.leaves();
    EXPECT_EQ(R"(@ SMTP: [127.0.0.1] Mail From [<Anna@Firm.Example>]
@ ***DEBUG** - sender email address received [<Anna@Firm.Example>]
@ ***DEBUG** - Multiple domains are in use
@ ***DEBUG** - senders address is a local user
MAIL FROM: <Anna@Firm.Example>
@ SMTP: DOMAIN CHECKING - Sender domain [firm.example] ACCEPTED
==> [250 OK]
@ ***DEBUG** - recipient email address received [bob@other.example]
@ ***DEBUG** - Multiple domains are in use
RCPT TO: <bob@other.example>
@ ***DEBUG** - recipients address is not recognized as a local user
@ SMTP: [127.0.0.1] Internal mail arriving for UNKNOWN USER bob@other.example
==> [250 OK]
@ ***DEBUG***  Opening file [DIR\qlnemails\NAME.tmp]
@ ***DEBUG***  Message file [DIR\qlnemails\NAME.tmp] closed 
@ ***DEBUG***  File renamed to [DIR\qlnemails\NAME.txt] and is now available to Quillon
@ ***DEBUG** - recipient email address received [anna@firm.example]
@ ***DEBUG** - Multiple domains are in use
RCPT TO: <anna@firm.example>
@ ***DEBUG** - recipients address identified as a local user
@ SMTP: [127.0.0.1] Internal mail arriving for anna@firm.example
==> [250 OK]
@ ***DEBUG***  Opening file [DIR\pending\NAME.tmp]
DIR\pending\NAME.env
***DEBUG***  deleted file above in Disconnect
DIR\pending\NAME.tmp
***DEBUG***  deleted file above in Disconnect
)",
              log_text());
}

TEST_F(Dialogue, EveryClientNeedsAnAcceptedDomainOfItsOwn)
{
    settings("SMTPAUTHENTICATION=1\r\nUSEDOMAINS=1\r\n");
    start();
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
    EXPECT_EQ(START_MAIL, next.asks("DATA"));
    EXPECT_EQ(OK, next.asks("."));
    next.says("MAIL forgets what was accepted\r\nRCPT TO:bob\r\nDATA\r\nNOOP\r\n");
    EXPECT_EQ(
        UNRECOGNIZED + ""s + OK +
            "550 No acceptable domains in sender/recipients list, message refused\r\n" +
            GOODBYE,
        next.hears_rest());
    EXPECT_EQ(2U, files("mailin").size());
    for (const char *text :
         {"SMTP: [127.0.0.1] External mail arriving for UNKNOWN USER BOB@Else.Example",
          "DOMAIN CHECKING - Recipient domain [else.example] NOT accepted...",
          "DOMAIN CHECKING - Sender domain [other.example] NOT accepted...",
          "DOMAIN CHECKING - Recipient domain [firm.example] ACCEPTED",
          "DOMAIN CHECKING - NO valid recipient domain identified, message refused"}) {
        EXPECT_TRUE(logs(text)) << text;
    }
    EXPECT_FALSE(logs("Recipient domain [other.example]", 0)) << "checked without need";
}

TEST_F(Dialogue, MessageTextBeginsWithTheNextChunk)
{
    start();
    Client client = with_recipient();
    const size_t descriptors = open_descriptors();
    client.says("DATA\r\nHidden: by no verb\r\nNOOP\r\nfrag");
    EXPECT_EQ(START_MAIL, client.hears());
    EXPECT_EQ(OK, client.hears());
    // Behind the end line all is dropped, but for the beginning of the next command.
    client.says("ment\r\n.\r\nQUIT\r\n.\r\nVR");
    EXPECT_EQ(OK, client.hears());
    EXPECT_EQ(NO_VRFY, client.asks("FY"));
    EXPECT_EQ("fragment\r\n", text_of(spooled(".txt")));

    // However much has been sent before, a chunk is a chunk. A body that is begun again,
    // or given up by RSET, leaves nothing open.
    client.asks("MAIL FROM:<>\r\nDATA");
    client.hears();
    EXPECT_EQ(OK, client.asks(copies(9000, "x") + "\r\n."));
    client.says("RCPT TO:<fax@firm.example>\r\n" + copies(5, "DATA\r\nRSET\r\nDATA\r\n") +
                copies(150, "NOOP\r\n"));
    std::string heard;
    for (int i = 0; i < 1 + 5 * 3 + 150; i++) {
        heard += client.hears();
    }
    EXPECT_EQ(OK + copies(5, START_MAIL + ""s + OK + START_MAIL) + copies(150, OK),
              heard);
    EXPECT_LE(open_descriptors(), descriptors + 1);
    EXPECT_EQ(OK, client.asks("once\r\n."));
    EXPECT_EQ("once\r\n", text_of(spooled(".txt", "mailin")));
}

TEST_F(Dialogue, MessageLinesAreStoredAsTheyCame)
{
    const std::string sent =
        "..\r\n. \r\n. \n.\r.\r\nbare\n\na\0b\r\n\0\n.\0\r\n\xE4\xFF\r in\r\n"s +
        copies(1023, "a") + "\n" + copies(1022, "b") + "\r\n" + copies(2046, "c") +
        "\r\n" + copies(2500, "d") + "\n" + copies(1023, "e") + ".\r\n";
    const std::string stored =
        "..\r\n. \r\n. \r\n.\r.\r\nbare\r\n\r\na\0b\r\n\0\r\n.\0\r\n\xE4\xFF\r in\r\n"s +
        copies(1023, "a") + "\r\n" + copies(1022, "b") + "\r\n" + copies(2046, "c") +
        "\r\n" + copies(2500, "d") + "\r\n" + copies(1023, "e");
    start();
    Client client = greeted();
    for (const size_t piece : {sent.size(), size_t{1023}, size_t{100}, size_t{1}}) {
        EXPECT_EQ(OK, client.asks("MAIL FROM:<>"));
        EXPECT_EQ(START_MAIL, client.asks("DATA"));
        for (size_t at = 0; at < sent.size(); at += piece) {
            client.says(sent.substr(at, piece));
        }
        EXPECT_EQ(OK, client.hears());
        EXPECT_EQ(stored, text_of(spooled(".txt"))) << "in pieces of " << piece;
        empty_spool();
    }
    // No further message without a further transaction.
    client.says("DATA\r\n");
    EXPECT_EQ(START_MAIL, client.hears_rest());
    EXPECT_EQ(Lines{}, files());
}

TEST_F(Dialogue, TheReceivedHeaderTellsTimeZoneAndVersion)
{
    start({"env", "TZ=XYZ-9", "LC_ALL=C.UTF-8"});
    Client client = with_recipient("127.0.0.7");
    settings("VERSION=9.9\r\n"); // no BUILDDATE any more
    client.asks("DATA");
    client.asks(".");
    const std::regex header(
        R"(Received: from 127\.0\.0\.7 on [A-Z][a-z]{2} [A-Z][a-z]{2} [0-3]\d )"
        R"([0-2]\d:[0-5]\d:[0-5]\d \d{4} XYZ\r\n\tby Quillon email-to-fax SMTP server )"
        R"(v9\.9, Build: Unspecified\r\n\tusing SMTP \(Quillon SMTP Server v2\.61\.00 )"
        R"(Build: 1 January,2005\)\r\n)");
    EXPECT_TRUE(std::regex_match(spooled(".txt"), header)) << spooled(".txt");
}
