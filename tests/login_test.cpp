// With ESMTP=1: what today's clients expect of EHLO, AUTH and the order of commands.

#include "installation.h"

namespace
{

constexpr char FAILED[] = "535 Authentication failed\r\n";
constexpr char WELCOME[] = "235 Authentication successful\r\n";
constexpr char ASKS_NAME[] = "334 VXNlcm5hbWU6\r\n";
constexpr char ASKS_PASSWORD[] = "334 UGFzc3dvcmQ6\r\n";
constexpr char REQUIRED[] = "530 Authentication required\r\n";
constexpr char NEED_MAIL[] = "503 Error: need MAIL command\r\n";
constexpr char NEED_RCPT[] = "503 Error: need RCPT command\r\n";
constexpr char MAIL[] = "MAIL FROM:<anna@firm.example> BODY=8BITMIME SIZE=9 AUTH=<>";
constexpr char RCPT[] = "RCPT TO:<fax@firm.example>";
constexpr char OFFER[] = "250-Welcome [pc], pleased to meet you.\r\n250-8BITMIME\r\n"
                         "250-SIZE\r\n250 AUTH LOGIN PLAIN\r\n";

// "anna", "secret", and what PLAIN makes of them.
constexpr char ANNA[] = "YW5uYQ==";
constexpr char SECRET[] = "c2VjcmV0";
constexpr char PLAIN[] = "AUTH PLAIN AGFubmEAc2VjcmV0";

using Exchanged = std::vector<std::pair<std::string, std::string>>;

// What an exchange says and hears from "AUTH " on, and what the log tells of it.
struct Exchange {
    Exchanged lines;
    std::string log;
};

const Exchange EXCHANGES[] = {
    {{{"LOGIN", ASKS_NAME}, {ANNA, ASKS_PASSWORD}, {SECRET, WELCOME}},
     "LOGIN login of [anna] accepted"},
    {{{"login YW5uYQ==", ASKS_PASSWORD}, {SECRET, WELCOME}},
     "LOGIN login of [anna] accepted"},
    {{{"PLAIN", "334 \r\n"}, {PLAIN + 11, WELCOME}}, "PLAIN login of [anna] accepted"},
    {{{"plain AGFubmEAc2VjcmV0", WELCOME}}, "PLAIN login of [anna] accepted"},
    {{{"PLAIN YW5uYQBhbm5hAHNlY3JldA==", WELCOME}}, "PLAIN login of [anna] accepted"},
    {{{"PLAIN Ym9iAGFubmEAc2VjcmV0", FAILED}}, "PLAIN login of [anna] refused"}, // as bob
    {{{"LOGIN =", ASKS_PASSWORD}, {SECRET, FAILED}}, "LOGIN login of [] refused"},
    {{{"LOGIN", ASKS_NAME}, {"", ASKS_PASSWORD}, {"", FAILED}},
     "LOGIN login of [] refused"},
    {{{"LOGIN", ASKS_NAME}, {"YQ0KYg==", ASKS_PASSWORD}, {"QUIT", FAILED}},
     "LOGIN login of [a\\x0d\\x0ab] refused"},
    {{{"LOGIN " + copies(30, "YWFh"), ASKS_PASSWORD}, {SECRET, FAILED}},
     "LOGIN login of [" + copies(64, "a") + "] refused"},
    {{{"LOGIN", ASKS_NAME},
      {"*", "501 Authentication cancelled\r\n"},
      {ANNA, UNRECOGNIZED}},
     "LOGIN exchange ended: Authentication cancelled"},
    {{{"LOGIN", ASKS_NAME}, {"EHLO pc", "501 Cannot decode the answer\r\n"}},
     "LOGIN exchange ended: Cannot decode the answer"},
    {{{"LOGIN YQBi", "501 Malformed answer\r\n"}},
     "LOGIN exchange ended: Malformed answer"},
    {{{"PLAIN AGFubmEAc2VjcmV0AA==", "501 Malformed answer\r\n"}},
     "PLAIN exchange ended: Malformed answer"},
    {{{"LOGIN " + copies(400, "YWFh"), "500 Authentication line too long\r\n"}},
     "AUTH exchange ended: Authentication line too long"},
    {{{"PLAIN", "334 \r\n"},
      {copies(256, "YWFh"), "500 Authentication line too long\r\n"}},
     "PLAIN exchange ended: Authentication line too long"},
    {{{"CRAM-MD5 c2VjcmV0", "504 AUTHENTICATION type not supported.\r\n"}},
     "mechanism [CRAM-MD5] is not supported"},
    {{{"c2VjcmV0=", "504 AUTHENTICATION type not supported.\r\n"}},
     "mechanism [?] is not supported"},
    {{{"", "501 Syntax: AUTH mechanism\r\n"}}, ""},
    {{{"PLAIN c2VjcmV0 c2VjcmV0", "501 Syntax: AUTH mechanism\r\n"}}, ""},
};

} // namespace

class Login : public Installation
{
  protected:
    Login()
    {
        put(LOGINS, ANNAS_LOGIN);
    }
    void start_with(const std::string &lines)
    {
        settings("ESMTP=1\r\nFULLDETAIL=1\r\n" + lines +
                 "[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=1\r\n");
        start();
    }
    Client greeted_by_ehlo(const std::string &address = "127.0.0.1")
    {
        Client client = connect_from(address);
        client.hears();
        client.says("EHLO pc\r\n");
        EXPECT_EQ(OFFER, client.hears_lines(4));
        return client;
    }
    // Nothing of a password, an answer or a line of an exchange is shown anywhere.
    void expect_no_secret()
    {
        for (const char *secret : {"secret", "c2Vjcm", "NyZXQ", "AGFubm", "YWFhYWFh"}) {
            for (const char *file : {LOG, "stdout", "stderr"}) {
                EXPECT_EQ(std::string::npos, content(file).find(secret)) << file;
            }
        }
    }
};

TEST_F(Login, IsTakenOrRefusedAndTheLogTellsNoSecret)
{
    start_with("");
    int number = 0;
    for (const auto &[lines, log] : EXCHANGES) {
        Client client = greeted_by_ehlo("127.0.1." + std::to_string(++number));
        forget_log();
        std::string said = "AUTH ";
        for (const auto &[line, reply] : lines) {
            EXPECT_EQ(reply, client.asks(said + line)) << number << " " << line;
            said.clear();
        }
        const bool in = lines.back().second == WELCOME;
        EXPECT_EQ(in ? "503 Already authenticated\r\n" : ASKS_NAME,
                  client.asks("AUTH LOGIN"));
        if (!log.empty()) {
            EXPECT_EQ(1, times_logged("AUTHENTICATION - " + log)) << number;
        }
    }
    EXPECT_EQ(UNRECOGNIZED, greeted_by_ehlo().asks("STARTTLS")) << "still serving";
    expect_no_secret();
}

TEST_F(Login, IsRefusedForGoodToWhoGuesses)
{
    start_with("SMTPAUTHENTICATION=1\r\n");
    const std::string wrong = "AUTH PLAIN AGFubmEAd3Jvbmc=";
    for (int connection = 0; connection < 4; connection++) {
        Client client = greeted_by_ehlo();
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(FAILED, client.asks(wrong));
        }
        EXPECT_TRUE(client.is_closed());
    }
    EXPECT_EQ(1, times_logged("[127.0.0.1] has failed too often"));
    EXPECT_EQ(FAILED, greeted_by_ehlo().asks(PLAIN));
    EXPECT_EQ(WELCOME, greeted_by_ehlo("127.0.0.2").asks(PLAIN)) << "another address";

    fs::remove(LOGINS);
    EXPECT_EQ(WELCOME, greeted_by_ehlo("127.0.0.3").asks(wrong))
        << "no file: any password";
    fs::create_directory(LOGINS);
    EXPECT_EQ("454 Temporary authentication failure\r\n",
              greeted_by_ehlo("127.0.0.4").asks(PLAIN));
}

TEST_F(Login, LetsMailThroughInTheRightOrder)
{
    start_with("SMTPAUTHENTICATION=1\r\n");
    Client client = greeted_by_ehlo();
    const Exchanged conversation = {
        {MAIL, REQUIRED},
        {RCPT, REQUIRED},
        {"DATA", REQUIRED},
        {"MAIL", UNRECOGNIZED},
        {"nonsense", UNRECOGNIZED},
        {PLAIN, WELCOME},
        {RCPT, NEED_MAIL},
        {MAIL, OK},
        {"AUTH PLAIN", "503 Already authenticated\r\n"},
        {"DATA", NEED_RCPT},
        {RCPT, OK},
        {"RSET", OK},
        {RCPT, NEED_MAIL},
        {MAIL, OK},
        {RCPT, OK},
        {"HELO again", "250 Welcome [again], pleased to meet you.\r\n"},
        {"DATA", NEED_RCPT}};
    for (const auto &[line, reply] : conversation) {
        EXPECT_EQ(reply, client.asks(line)) << line;
    }
    EXPECT_EQ(0U, files().size()) << "what was begun is given up";

    settings(""); // the session keeps what it began with
    EXPECT_EQ(OK, client.asks(MAIL));
    EXPECT_EQ(OK, client.asks(RCPT));
    client.says("DATA\r"); // the line end cut in two
    EXPECT_EQ(START_MAIL, client.hears());
    EXPECT_EQ(OK, client.asks("\nSubject: x\r\n\r\ntext\r\n."));
    EXPECT_EQ("Subject: x\r\n\r\ntext\r\n", text_of(spooled(".txt")));
    EXPECT_EQ(NEED_MAIL, client.asks(RCPT));

    fs::remove_all("qlnemails");
    EXPECT_EQ("451 Message could not be stored, please try again later\r\n",
              client.asks(MAIL));
    EXPECT_EQ(NEED_MAIL, client.asks(RCPT));
    expect_no_secret();
}

TEST_F(Login, IsNotNeededUnlessRequired)
{
    start_with("");
    Client client = greeted_by_ehlo();
    EXPECT_EQ(OK, client.asks(MAIL));
    EXPECT_EQ("503 AUTH not allowed during a mail transaction\r\n",
              client.asks("AUTH LOGIN"));
    client.says("RSET\r\nAUTH LOGIN\r");
    EXPECT_EQ(OK + std::string(ASKS_NAME), client.hears_lines(2));
    client.says("\n");
    EXPECT_EQ("501 Authentication cancelled\r\n", client.asks("*"))
        << "the LF of the last line was no answer";
    client.asks(MAIL), client.asks(RCPT);
    EXPECT_EQ(START_MAIL, client.asks("DATA\r\nSubject: sent ahead\r\nEHLO pc"));
    EXPECT_EQ(OK, client.asks(".")) << "text is not answered";
}
