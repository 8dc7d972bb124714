// Who may log in: what AUTH answers and opens, Base64, the file of names and hashes,
// addresses that guess.

#include "base/base64.h"
#include "installation.h"
#include "platform/file_contents.h"
#include "smtp/credentials.h"
#include "smtp/login_failures.h"

#include <ctime>

using Authentication = Installation;
using Credentials = Installation;

constexpr char SHOWN[] = "SMTPAUTHENTICATION=1\r\n"
                         "[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=1\r\n";
constexpr char MAIL[] = "MAIL FROM:<anna@firm.example>";
constexpr char RCPT[] = "RCPT TO:<fax@firm.example>";
constexpr char MAIL_REFUSED[] = "535 Authentication required\r\n";
constexpr char RCPT_REFUSED[] = "530 Authentication required\r\n";

TEST_F(Authentication, MailRcptAndDataWaitForItWhenItIsRequired)
{
    start();
    Client client = greeted();
    for (const char *line : {"AUTH", "AUTH LOGIN", "auth\tplain", "AUTH X"}) {
        EXPECT_EQ("500 SMTP AUTHENTICATION not required.\r\n", client.asks(line)) << line;
    }
    EXPECT_EQ(OK, client.asks(MAIL));

    settings(SHOWN);
    for (const char *line : {"AUTH LOGIN YW5uYQ==", "AUTH LOGIN ", "AUTH  LOGIN",
                             "AUTH PLAIN=", "AUTH CRAM-MD5", "AUTH "}) {
        EXPECT_EQ("250 AUTHENTICATION type not supported.\r\n", client.asks(line));
    }
    EXPECT_TRUE(logs("AUTH CD_CRAM received, authentication not supported"));
    EXPECT_TRUE(logs("UNRECOGNIZED AUTH command [AUTH LOGIN YW5uYQ==] received"));
    client.says("AUTH\r\nAUTH\tLOGIN\r\n"); // without a blank: no reply
    EXPECT_EQ(UNRECOGNIZED, client.asks("MAIL anna"));
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
    settings("SMTPAUTHENTICATION=1\r\n");
    start();
    Client login = greeted("127.0.0.2");
    Client plain = greeted("127.0.0.3");
    EXPECT_EQ("334 VXN1cm5hbWU6\r\n", login.asks("auth login"));
    EXPECT_EQ(OK, login.asks(MAIL)) << "no answer to the prompt is needed";
    login.says("YW5uYQ==\r\n");
    EXPECT_EQ(OK, login.asks("RSET")) << "answers to the prompt get no reply";
    EXPECT_EQ(OK, login.asks(MAIL)) << "RSET keeps the authentication";

    EXPECT_EQ(RCPT_REFUSED, plain.asks(RCPT)) << "another's authentication opens nothing";
    EXPECT_EQ("334 Username\r\n", plain.asks("AUTH PLAIN"));
    plain.asks("AUTH X");
    EXPECT_EQ(0, times_logged("AUTH ")) << "unasked";
    settings(SHOWN);
    EXPECT_EQ("334 Username\r\n", plain.asks("Auth Plain"));
    EXPECT_TRUE(logs("AUTH PLAIN received, requesting authentication ID"));
    greeted().asks("AUTH LOGIN");
    EXPECT_TRUE(logs("Requesting authentication password"));
    EXPECT_EQ(OK, plain.asks(MAIL));
    plain.leaves();
    EXPECT_TRUE(logs("SMTP: [127.0.0.3] disconnected"));
    EXPECT_EQ(OK, login.asks(RCPT)) << "another's end closes nothing";
    EXPECT_EQ(MAIL_REFUSED, greeted().asks(MAIL)) << "in the other's record";
    login.says("AUTH LOGIN\r\nNOOP\r\n");
    EXPECT_TRUE(login.is_closed());
}

TEST(Base64, IsDecodedWholeOrNotAtAll)
{
    char bytes[8];
    EXPECT_EQ(5, decode_base64("+/+/Zm8=", bytes));
    EXPECT_EQ("\xFB\xFF\xBF|fo", std::string(bytes, 3) + "|" + std::string(bytes + 3, 2));
    for (const char *text : {"Z", "Zg", "Zg=", "=", "====", "Z===", "Zg==Zg==", "Zm 9v",
                             "Zm9v ", "Zm-_", "Zm\xE4v"}) {
        EXPECT_EQ(-1, decode_base64(text, bytes)) << text;
    }
}

TEST_F(Credentials, AreJudgedByTheFileAsItIs)
{
    const std::string hash = "$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1"; // of "secret"
    EXPECT_EQ(LOGIN_ACCEPTED, judge_login("anybody", "")) << "no file";
    put(LOGINS,
        "locked:!" + hash +
            "\r\nanna:$6$abcdefgh$ltjgWl6579NluT/Vi1nwEvcil.G5Nbc4NiXZaNGStk8PSwGfQ"
            "v72N2CKPPrVACtLtip/cZ/1GM/O6IND4WQhG.\r\nno colon\n\n:" +
            hash + "\nstarred:*\nplain:secret\nempty:\nold:aa3kxsKzvuQMc\n" +
            "unknown kind:$9$abc$def\nanna:" + hash + "\ncut:" + hash.substr(0, 33) +
            "\nmore:" + hash + ":x\nlocked:" + hash + "\nbob:" + hash);
    for (const char *name : {"anna", "bob"}) {
        EXPECT_EQ(LOGIN_ACCEPTED, judge_login(name, "secret")) << name;
        for (const char *password : {"", "Secret", "secret ", "secre", "*0", "*1"}) {
            EXPECT_EQ(LOGIN_REFUSED, judge_login(name, password)) << name << password;
        }
    }
    EXPECT_EQ(LOGIN_REFUSED, judge_login("anna", copies(800, "x").c_str()));
    for (const char *name :
         {"Anna", "ann", "anna ", "locked", "no colon", "starred", "plain", "empty",
          "old", "unknown kind", "cut", "more", "x"}) {
        EXPECT_EQ(LOGIN_REFUSED, judge_login(name, "secret")) << name;
    }
    const auto cost = [&](const char *name) { // in the processor's time, of refusals
        const clock_t begin = clock();
        for (int i = 0; i < 8; i++) {
            judge_login(name, "wrong");
        }
        return clock() - begin;
    };
    EXPECT_GT(cost("x"), cost("anna") / 4) << "the time tells which names there are";
    EXPECT_GT(cost("locked"), cost("anna") / 4);

    put(LOGINS, "\xFF\xFE");
    EXPECT_EQ(LOGIN_NOT_JUDGED, judge_login("bob", "secret")) << "in UTF-16";
    put(LOGINS, "");
    EXPECT_EQ(LOGIN_REFUSED, judge_login("anna", "secret")) << "an empty file";
    for (const char *target : {".", "gone", "SMTPLOGINS.DAT"}) { // links lead to no file
        fs::remove(LOGINS);
        fs::create_symlink(target, LOGINS);
        file_contents_invalidate();
        EXPECT_EQ(LOGIN_NOT_JUDGED, judge_login("anna", "secret")) << target;
    }
}

TEST(LoginFailures, OfOneAddressAreTenInTenMinutes)
{
    // Whether the address is refused after so many failures at that time, and not before.
    const auto fails = [](const std::string &address, int times, int64_t now) {
        bool told = false;
        for (int i = 0; i < times; i++) {
            EXPECT_FALSE(told) << address << " " << i;
            told = login_has_failed(address.c_str(), now);
        }
        EXPECT_EQ(told, is_guessing(address.c_str(), now));
        return told;
    };
    EXPECT_FALSE(fails("10.0.0.1", 5, 1000));
    EXPECT_FALSE(fails("10.0.0.1", 4, 1599));
    EXPECT_FALSE(fails("10.0.0.1", 5, 1600)) << "the first five are ten minutes old";
    EXPECT_FALSE(is_guessing("10.0.0.2", 1600));
    EXPECT_TRUE(fails("10.0.0.1", 1, 2000));
    EXPECT_TRUE(is_guessing("10.0.0.1", 2599));
    EXPECT_FALSE(is_guessing("10.0.0.1", 2600));
    EXPECT_FALSE(is_guessing("10.0.0.1", 1999)) << "the clock was set back";
    EXPECT_FALSE(fails("10.0.0.1", 9, 2600));

    // Whoever comes from many addresses crowds out those who failed once before.
    EXPECT_TRUE(fails("10.0.0.3", 10, 3000));
    for (int i = 0; i < 5000; i++) {
        fails("10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250), 1, 3001);
    }
    EXPECT_TRUE(is_guessing("10.0.0.3", 3002));
}
