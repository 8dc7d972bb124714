// The authentication exchange: what AUTH answers, and what it opens.

#include "installation.h"

using Lines = std::vector<std::string>;

namespace
{

constexpr char REQUIRED[] = "SMTPAUTHENTICATION=1\r\n";
constexpr char LOGIN_PROMPT[] = "334 VXN1cm5hbWU6\r\n";
constexpr char PLAIN_PROMPT[] = "334 Username\r\n";
constexpr char DECLINED[] = "250 AUTHENTICATION type not supported.\r\n";
constexpr char MAIL[] = "MAIL FROM:<anna@firm.example>";

} // namespace

class Authentication : public Installation
{
};

TEST_F(Authentication, IsNotRequiredUnlessSet)
{
    start();
    Client client = greeted();
    for (const char *line : {"AUTH", "AUTH LOGIN", "auth\tplain", "AUTH X"})
        EXPECT_EQ("500 SMTP AUTHENTICATION not required.\r\n", client.asks(line)) << line;
    EXPECT_EQ("250 OK\r\n", client.asks(MAIL));
}

TEST_F(Authentication, MailRcptAndDataWaitForIt)
{
    settings(REQUIRED);
    start();
    const std::string refused =
        "AUTHENTICATION - MAIL FROM received without AUTHENTICATION, message refused";

    Client client = greeted();
    EXPECT_EQ(DECLINED, client.asks("AUTH CRAM-MD5"));
    EXPECT_EQ("500 Error command unrecognized\r\n", client.asks("MAIL anna"));
    EXPECT_EQ("530 Authentication required\r\n",
              client.asks("RCPT TO:<fax@firm.example>"));
    EXPECT_TRUE(logs(refused));
    EXPECT_EQ("535 Authentication required\r\n", client.asks(MAIL));
    EXPECT_TRUE(client.is_closed());
    all_closed();
    forget_log();

    Client eager = greeted();
    EXPECT_EQ("503 Transaction failed - no Authentication provided\r\n",
              eager.asks("DATA"));
    EXPECT_TRUE(eager.is_closed());
    EXPECT_TRUE(logs("AUTHENTICATION - NOT received so message refused"));
    EXPECT_EQ(0U, files().size());
}

TEST_F(Authentication, PromptsLoginOnceAndPlainAgainAndAgain)
{
    settings(REQUIRED);
    start();

    Client login = greeted();
    EXPECT_EQ(LOGIN_PROMPT, login.asks("auth login"));
    EXPECT_EQ("250 OK\r\n", login.asks(MAIL)) << "no answer to the prompt is needed";
    login.says("YW5uYQ==\r\n");
    EXPECT_EQ("250 OK\r\n", login.asks("RSET")) << "answers to the prompt get no reply";
    EXPECT_EQ("250 OK\r\n", login.asks(MAIL)) << "RSET keeps the authentication";
    login.says("AUTH LOGIN\r\nNOOP\r\n");
    EXPECT_TRUE(login.is_closed());

    Client plain = greeted();
    EXPECT_EQ(PLAIN_PROMPT, plain.asks("AUTH PLAIN"));
    EXPECT_EQ(PLAIN_PROMPT, plain.asks("Auth Plain"));
    EXPECT_EQ("250 OK\r\n", plain.asks(MAIL));
}

TEST_F(Authentication, OtherMechanismsAreDeclinedAndOpenNothing)
{
    settings(REQUIRED);
    start();
    Client client = greeted();
    for (const char *line : {"AUTH LOGIN YW5uYQ==", "AUTH LOGIN ", "AUTH  LOGIN",
                             "AUTH PLAIN=", "AUTH CRAM-MD5", "AUTH "})
        EXPECT_EQ(DECLINED, client.asks(line)) << line;
    client.says("AUTH\r\nAUTH\tLOGIN\r\n"); // without a blank: no reply
    EXPECT_EQ("530 Authentication required\r\n",
              client.asks("RCPT TO:<fax@firm.example>"));
}

TEST_F(Authentication, BelongsToOneConnection)
{
    settings(REQUIRED);
    start();
    Client first = greeted("127.0.0.2");
    Client second = greeted("127.0.0.3");
    EXPECT_EQ(LOGIN_PROMPT, first.asks("AUTH LOGIN"));
    EXPECT_EQ("530 Authentication required\r\n",
              second.asks("RCPT TO:<fax@firm.example>"));
    second.leaves();
    EXPECT_TRUE(logs("SMTP: [127.0.0.3] disconnected"));
    EXPECT_EQ("250 OK\r\n", first.asks(MAIL));
    first.leaves();
    all_closed();

    Client third = greeted("127.0.0.4"); // in the record of one that was authenticated
    Client fourth = greeted("127.0.0.4");
    EXPECT_EQ("535 Authentication required\r\n", third.asks(MAIL));
    EXPECT_EQ("535 Authentication required\r\n", fourth.asks(MAIL));
}

TEST_F(Authentication, TellsTheLogWhenAsked)
{
    const std::string details = "[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=1\r\n";
    settings("FULLDETAIL=1\r\n" + std::string(REQUIRED) + details);
    start();
    Client client = greeted();
    EXPECT_TRUE(logs("Welcome"));
    forget_log();
    for (const char *line : {"AUTH PLAIN", "AUTH CRAM-MD5", "aUTH x y"})
        client.asks(line);
    Client other = greeted("127.0.0.2");
    other.asks("AUTH LOGIN");
    EXPECT_TRUE(logs("Requesting"));

    Lines lines = log_lines();
    const Lines expected = {
        "AUTH PLAIN received, requesting authentication ID",
        "==> [334 Username]",
        "AUTH CD_CRAM received, authentication not supported",
        "==> [250 AUTHENTICATION type not supported.]",
        "UNRECOGNIZED AUTH command [aUTH x y] received",
        "==> [250 AUTHENTICATION type not supported.]",
    };
    EXPECT_EQ(expected, Lines(lines.begin(), lines.begin() + 6));
    EXPECT_EQ((Lines{"==> [334 VXN1cm5hbWU6]", "Requesting authentication password"}),
              Lines(lines.end() - 2, lines.end()));

    settings(REQUIRED);
    forget_log();
    client.asks("AUTH x");
    client.says("AUTH LOGIN\r\n"); // a second prompt: ends the connection
    EXPECT_TRUE(logs("disconnected"));
    EXPECT_EQ("SMTP: [127.0.0.1] disconnected", log_lines().front());
}
