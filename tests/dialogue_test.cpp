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
constexpr char NO_TURN[] = "502 Sorry, TURN command not supported by this server\r\n";
constexpr char TOO_LONG[] = "501 Address too long\r\n";
constexpr char NO_DOMAIN[] =
    "550 No acceptable domains in sender/recipients list, message refused\r\n";

constexpr char NO_TIMER[] = "SocketTimeout=0\r\n"; // and so no line of its first tick

std::string welcome(const std::string &name)
{
    return "250 Welcome [" + name + "], pleased to meet you.\r\n";
}

std::string copies(size_t count, char c)
{
    return std::string(count, c);
}

} // namespace

class Dialogue : public Installation
{
  protected:
    // The log as it stands, but for times ("@") and the names of the installation ("DIR")
    // and of spool files ("NAME").
    std::string log_text()
    {
        std::string text;
        for (const std::string &line : log_lines("@ ")) {
            text += line + "\n";
        }
        const std::string directory = path("").substr(0, path("").size() - 1);
        text = std::regex_replace(text, std::regex(directory), "DIR");
        return std::regex_replace(text, std::regex("[0-9a-f]{18}"), "NAME");
    }
};

TEST_F(Dialogue, HeloIsWaitedFor)
{
    start();
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    const struct {
        std::string said, heard;
    } cases[] = {
        {"HELO pc20\r\n", welcome("pc20")},
        {"ehlo\r\n", welcome("127.0.0.1")},
        {"HELOX first second\n", welcome("first")},
        {"\t EhloABC\tname\0"s, welcome("name")},
        {"EHLO " + copies(300, 'n') + "\r\n", welcome(copies(255, 'n'))},
        {"\r\n", UNRECOGNIZED},
        {" QUIT\r\n", UNRECOGNIZED},
        {"NOOP\r\n", UNRECOGNIZED},
        {"MAIL FROM:<anna@firm.example>\r\n", UNRECOGNIZED},
        {"qUIT now\r\n", GOODBYE},
    };
    for (const auto &one : cases) {
        Client client = connect_from();
        EXPECT_EQ("220 ["s + host +
                      "] Quillon email-to-fax SMTP server 2.61.00, Quillon email-to-fax "
                      "SMTP service ready\r\n",
                  client.hears());
        // The rest of the chunk is discarded with the line's LF.
        client.says(one.said + "VRFY\r\nTURN\r\n");
        EXPECT_EQ(one.heard, client.hears());
        if (one.heard == GOODBYE) {
            EXPECT_TRUE(client.is_closed());
        } else if (one.heard == UNRECOGNIZED) {
            EXPECT_EQ(welcome("pc"), client.asks("HELO pc"));
        } else {
            EXPECT_EQ(OK, client.asks("NOOP"));
        }
    }
}

TEST_F(Dialogue, EveryLineOfAChunkIsACommand)
{
    settings(NO_TIMER);
    start();
    Client client = greeted();
    forget_log();
    client.says("NOOP\r\nHELO again\r\n\r\nnoop\nNoOp x\0VRFY anna\r\nturn\r\n"s
                "HELP\r\nRSET\r\nXYZ\r\nMAIL FROM <a>\r\nMAIL  FROM:<a>\r\n"
                " MAIL FROM:<a>\r\nRCPT\r\nRCPT  TO:<a>\r\nrcpt to:\r\nRCPT TO:  \r\n"
                "RCPTTO:<a>\r\nDATAX\r\nQUIT now\r\nNOOP\r\n");
    EXPECT_EQ(""s + OK + OK + OK + NO_VRFY + NO_TURN +
                  "214 Commands: HELO EHLO AUTH MAIL RCPT DATA RSET NOOP QUIT HELP\r\n" +
                  OK + UNRECOGNIZED + UNRECOGNIZED + UNRECOGNIZED + UNRECOGNIZED +
                  UNRECOGNIZED + UNRECOGNIZED + "550 No such user here\r\n" + GOODBYE,
              client.hears_rest());
    all_closed();
    EXPECT_EQ(R"(@ SMTP: [127.0.0.1] Verify from client - REFUSED
@ SMTP: TURN command from client - REFUSED
@ SMTP: [127.0.0.1] Received bad MAIL FROM command
@ SMTP: [127.0.0.1] Received bad MAIL FROM command
@ SMTP: [127.0.0.1] Received bad MAIL FROM command
@ SMTP: 1 - [127.0.0.1] Received bad RCPT TO command
@ SMTP: 1 - [127.0.0.1] Received bad RCPT TO command
@ SMTP: 5 - [127.0.0.1] Received bad RCPT TO command
@ SMTP: [127.0.0.1] disconnected
@ SMTP: [127.0.0.1] All active sessions closed
<>
)",
              log_text());
}

TEST_F(Dialogue, LongLinesAreCutAndLongAddressesRefused)
{
    start();
    Client client = greeted();
    // A line keeps its first 1,023 bytes, whatever the chunks it comes in.
    EXPECT_EQ(OK, client.asks("mail from:" + copies(1008, ' ') + "<anna@firm.example>" +
                              copies(3000, 'x')));
    EXPECT_EQ("MAIL FROM: <anna\r\n", spooled(".env"));

    // A cut address would be somebody else's.
    EXPECT_EQ(OK, client.asks("RCPT TO:<" + copies(498, 'r') + ">"));
    EXPECT_EQ(TOO_LONG, client.asks("RCPT TO:<" + copies(499, 'r') + ">"));
    EXPECT_TRUE(logs("SMTP: [127.0.0.1] RCPT TO refused, the address is too long"));
    EXPECT_EQ(TOO_LONG, client.asks("MAIL FROM:<" + copies(456, 's') + ">"));
    EXPECT_TRUE(logs("SMTP: [127.0.0.1] MAIL FROM refused, the address is too long"));
    EXPECT_EQ("MAIL FROM: <anna\r\nRCPT TO: <" + copies(498, 'r') + ">\r\n",
              spooled(".env"));
    EXPECT_EQ(OK, client.asks("MAIL FROM:<" + copies(455, 's') + ">"));
    EXPECT_EQ("MAIL FROM: <" + copies(455, 's') + ">\r\n", spooled(".env"));
}

TEST_F(Dialogue, FullDetailTellsEveryStep)
{
    settings(NO_TIMER + "FULLDETAIL=1\r\nUSEDOMAINS=1\r\n"s);
    put("DATA/RAW/TSUSERS.DAT",
        "[USER0]\r\nFULLEMAIL=anna@firm.example\r\nUSERACTIVE=1\r\n");
    put("DATA/RAW/DOMAIN.DAT", "firm.example,1\r\n");
    start();
    Client client = greeted();
    forget_log();
    for (const char *line :
         {"MAIL FROM:<Anna@Firm.Example>", "RCPT TO:bob@other.example", "DATA",
          "text\r\n.", "RCPT TO:<anna@firm.example>", "DATA"}) {
        client.asks(line);
    }
    client.leaves();
    all_closed();
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
@ SMTP: [127.0.0.1] disconnected
@ SMTP: [127.0.0.1] All active sessions closed
<>
)",
              log_text());
}

TEST_F(Dialogue, AnAcceptedDomainIsNeededForData)
{
    settings(NO_TIMER + "USEDOMAINS=1\r\n"s);
    put("DATA/RAW/DOMAIN.DAT", "firm.example,1\r\n");
    start();
    Client refused = greeted("127.0.0.2");
    forget_log();
    EXPECT_EQ(OK, refused.asks("MAIL FROM:<anna@firm.example>"));
    EXPECT_EQ(UNRECOGNIZED, refused.asks("MAIL anna")) << "forgets what was accepted";
    EXPECT_EQ(OK, refused.asks("RCPT TO:<mailto:BOB@Other.Example>"));
    EXPECT_EQ(OK, refused.asks("RCPT TO:bob"));
    refused.says("DATA\r\nNOOP\r\n");
    EXPECT_EQ(NO_DOMAIN + ""s + GOODBYE, refused.hears_rest());
    all_closed();
    EXPECT_EQ(Lines{}, files());
    EXPECT_EQ(R"(@ SMTP: [127.0.0.2] Mail From [<anna@firm.example>]
@ SMTP: DOMAIN CHECKING - Sender domain [firm.example] ACCEPTED
@ SMTP: [127.0.0.2] Received bad MAIL FROM command
@ SMTP: [127.0.0.2] External mail arriving for UNKNOWN USER BOB@Other.Example
@ SMTP: DOMAIN CHECKING - Recipient domain [other.example] NOT accepted...
@ SMTP: [127.0.0.2] External mail arriving for UNKNOWN USER bob
@ DOMAIN CHECKING - NO valid recipient domain identified, message refused
@ SMTP: [127.0.0.2] disconnected
@ SMTP: [127.0.0.2] All active sessions closed
<>
)",
              log_text());

    Client accepted = greeted();
    forget_log();
    EXPECT_EQ(OK, accepted.asks("MAIL FROM:<eve@other.example>"));
    EXPECT_EQ(OK, accepted.asks("RCPT TO:anna@FIRM.example"));
    EXPECT_EQ(OK, accepted.asks("RCPT TO:bob@other.example"));
    EXPECT_EQ(START_MAIL, accepted.asks("DATA"));
    EXPECT_EQ(R"(@ SMTP: [127.0.0.1] Mail From [<eve@other.example>]
@ SMTP: DOMAIN CHECKING - Sender domain [other.example] NOT accepted...
@ SMTP: [127.0.0.1] External mail arriving for UNKNOWN USER anna@FIRM.example
@ SMTP: DOMAIN CHECKING - Recipient domain [firm.example] ACCEPTED
@ SMTP: [127.0.0.1] External mail arriving for UNKNOWN USER bob@other.example
)",
              log_text());
}

TEST_F(Dialogue, TheNextClientInheritsNothing)
{
    settings("SMTPAUTHENTICATION=1\r\nUSEDOMAINS=1\r\n");
    put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nFULLEMAIL=anna@firm.example\r\n");
    put("DATA/RAW/DOMAIN.DAT", "firm.example,1\r\n");
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
    EXPECT_EQ(OK, next.asks("RCPT TO:<bob>"));
    EXPECT_TRUE(logs("External mail arriving for UNKNOWN USER bob", 0));
    EXPECT_EQ(NO_DOMAIN, next.asks("DATA"));
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
    empty_spool();

    // However much has been sent before, a chunk is a chunk.
    client.asks("MAIL FROM:<>");
    client.asks("DATA");
    EXPECT_EQ(OK, client.asks(copies(9000, 'x') + "\r\n."));
    std::string chunk = "RCPT TO:<fax@firm.example>\r\nDATA\r\n";
    for (int i = 0; i < 150; i++) {
        chunk += "NOOP\r\n";
    }
    client.says(chunk);
    EXPECT_EQ(OK, client.hears());
    EXPECT_EQ(START_MAIL, client.hears());
    for (int i = 0; i < 150; i++) {
        ASSERT_EQ(OK, client.hears()) << i;
    }
    EXPECT_EQ(OK, client.asks("text\r\n."));
    EXPECT_EQ("text\r\n", text_of(spooled(".txt", "mailin")));
    empty_spool("mailin");

    // A body that is begun again, or given up by RSET, leaves nothing open.
    client.asks("RCPT TO:<fax@firm.example>");
    std::string twice, heard;
    for (int i = 0; i < 40; i++) {
        twice += "DATA\r\nRSET\r\nDATA\r\n";
        heard += START_MAIL + ""s + OK + START_MAIL;
    }
    client.says(twice + "RSET\r\n");
    for (size_t at = 0; at < heard.size();) {
        const std::string line = client.hears();
        ASSERT_EQ(heard.substr(at, line.size()), line);
        at += line.size();
    }
    EXPECT_EQ(OK, client.hears());
    EXPECT_LE(open_descriptors(), descriptors + 1);
    EXPECT_EQ(START_MAIL, client.asks("DATA"));
    EXPECT_EQ(OK, client.asks("once\r\n."));
    EXPECT_EQ("once\r\n", text_of(spooled(".txt", "mailin")));
    EXPECT_EQ(descriptors, open_descriptors());
}

TEST_F(Dialogue, MessageLinesAreStoredAsTheyCame)
{
    const struct {
        std::string sent, stored;
    } lines[] = {
        {"..\r\n", "..\r\n"},
        {". \r\n. \n", ". \r\n. \r\n"},
        {".\r.\r\n", ".\r.\r\n"},
        {"bare\n\n", "bare\r\n\r\n"},
        {"a\0b\r\n\0\n.\0\r\n"s, "a\0b\r\n\0\r\n.\0\r\n"s},
        {"\xE4\xFF\r in\r\n", "\xE4\xFF\r in\r\n"},
        {copies(1023, 'a') + "\n", copies(1023, 'a') + "\r\n"},
        {copies(1022, 'b') + "\r\n", copies(1022, 'b') + "\r\n"},
        {copies(2046, 'c') + "\r\n", copies(2046, 'c') + "\r\n"},
        {copies(2500, 'd') + "\n", copies(2500, 'd') + "\r\n"},
        {copies(1023, 'e') + ".\r\n", copies(1023, 'e')}, // the dot ends the message
    };
    std::string sent, stored;
    for (const auto &line : lines) {
        sent += line.sent;
        stored += line.stored;
    }
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
    Client client = greeted("127.0.0.7");
    EXPECT_EQ(OK, client.asks("MAIL FROM:<>"));
    settings("VERSION=9.9\r\n"); // no BUILDDATE any more
    client.asks("DATA");
    client.asks(".");
    const std::string message = spooled(".txt");
    const std::string line = message.substr(0, message.find('\n') + 1);
    EXPECT_TRUE(std::regex_match(
        line, std::regex("Received: from 127\\.0\\.0\\.7 on [A-Z][a-z]{2} [A-Z][a-z]{2} "
                         "[0-3]\\d [0-2]\\d:[0-5]\\d:[0-5]\\d \\d{4} XYZ\r\n")))
        << line;
    EXPECT_EQ("\tby Quillon email-to-fax SMTP server v9.9, Build: Unspecified\r\n"
              "\tusing SMTP (Quillon SMTP Server v2.61.00 Build: 1 January,2005)\r\n",
              message.substr(line.size()));
}
