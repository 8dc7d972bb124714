// The authentication exchange: what AUTH answers, and what it opens.

#include "installation.h"

constexpr char REQUIRED[] = "SMTPAUTHENTICATION=1\r\n";
constexpr char MAIL[] = "MAIL FROM:<anna@firm.example>";
constexpr char RCPT[] = "RCPT TO:<fax@firm.example>";
constexpr char MAIL_REFUSED[] = "535 Authentication required\r\n";
constexpr char RCPT_REFUSED[] = "530 Authentication required\r\n";

using Authentication = Installation;

TEST_F(Authentication, MailRcptAndDataWaitForItWhenItIsRequired)
{
    start();
    Client client = greeted();
    for (const char *line : {"AUTH", "AUTH LOGIN", "auth\tplain", "AUTH X"}) {
        EXPECT_EQ("500 SMTP AUTHENTICATION not required.\r\n", client.asks(line)) << line;
    }
    EXPECT_EQ("250 OK\r\n", client.asks(MAIL));

    settings(REQUIRED);
    for (const char *line : {"AUTH LOGIN YW5uYQ==", "AUTH LOGIN ", "AUTH  LOGIN",
                             "AUTH PLAIN=", "AUTH CRAM-MD5", "AUTH "}) {
        EXPECT_EQ("250 AUTHENTICATION type not supported.\r\n", client.asks(line));
    }
    client.says("AUTH\r\nAUTH\tLOGIN\r\n"); // without a blank: no reply
    EXPECT_EQ("500 Error command unrecognized\r\n", client.asks("MAIL anna"));
    EXPECT_EQ(RCPT_REFUSED, client.asks(RCPT));
    EXPECT_EQ(MAIL_REFUSED, client.asks(MAIL));
    EXPECT_TRUE(client.is_closed());
    EXPECT_TRUE(logs(
        "AUTHENTICATION - MAIL FROM received without AUTHENTICATION, message refused"));
    Client eager = greeted();
    EXPECT_EQ("503 Transaction failed - no Authentication provided\r\n",
              eager.asks("DATA"));
    EXPECT_TRUE(eager.is_closed());
    EXPECT_TRUE(logs("AUTHENTICATION - NOT received so message refused"));
    EXPECT_EQ(0U, files().size());
}

TEST_F(Authentication, PromptsOneConnectionLoginOnceAndPlainAgainAndAgain)
{
    settings(REQUIRED);
    start();
    Client login = greeted("127.0.0.2");
    Client plain = greeted("127.0.0.3");
    EXPECT_EQ("334 VXN1cm5hbWU6\r\n", login.asks("auth login"));
    EXPECT_EQ("250 OK\r\n", login.asks(MAIL)) << "no answer to the prompt is needed";
    login.says("YW5uYQ==\r\n");
    EXPECT_EQ("250 OK\r\n", login.asks("RSET")) << "answers to the prompt get no reply";
    EXPECT_EQ("250 OK\r\n", login.asks(MAIL)) << "RSET keeps the authentication";

    EXPECT_EQ(RCPT_REFUSED, plain.asks(RCPT)) << "another's authentication opens nothing";
    EXPECT_EQ("334 Username\r\n", plain.asks("AUTH PLAIN"));
    EXPECT_EQ("334 Username\r\n", plain.asks("Auth Plain"));
    EXPECT_EQ("250 OK\r\n", plain.asks(MAIL));
    plain.leaves();
    EXPECT_TRUE(logs("SMTP: [127.0.0.3] disconnected"));
    EXPECT_EQ("250 OK\r\n", login.asks(RCPT)) << "another's end closes nothing";
    EXPECT_EQ(MAIL_REFUSED, greeted().asks(MAIL)) << "in the other's record";
    login.says("AUTH LOGIN\r\nNOOP\r\n");
    EXPECT_TRUE(login.is_closed());
}

TEST_F(Authentication, TellsTheLogWhenAsked)
{
    settings(REQUIRED);
    start();
    Client client = greeted();
    forget_log();
    client.asks("AUTH x");
    settings("FULLDETAIL=1\r\nSMTPAUTHENTICATION=1\r\n"
             "[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=1\r\n");
    for (const char *line : {"AUTH LOGIN", "AUTH PLAIN", "AUTH CRAM-MD5", "aUTH x y"}) {
        client.asks(line);
    }
    EXPECT_EQ(
        (std::vector<std::string>{
            "==> [334 VXN1cm5hbWU6]", "Requesting authentication password",
            "AUTH PLAIN received, requesting authentication ID", "==> [334 Username]",
            "AUTH CD_CRAM received, authentication not supported",
            "==> [250 AUTHENTICATION type not supported.]",
            "UNRECOGNIZED AUTH command [aUTH x y] received",
            "==> [250 AUTHENTICATION type not supported.]"}),
        log_lines());
}
