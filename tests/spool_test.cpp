// The files of a transaction: what the fax server finds, and what it must never find.

#include "installation.h"

#include <chrono>
#include <ctime>
#include <regex>

constexpr char STRANGER[] = "External mail arriving for UNKNOWN USER ";

using Spool = Installation;

static void says_ok(Client &client, const Lines &lines)
{
    for (const std::string &line : lines) {
        EXPECT_EQ(OK, client.asks(line)) << line;
    }
}

TEST_F(Spool, EnvelopesNameSenderAndRecipientsAsTheyWereGiven)
{
    settings("SocketTimeout=0\r\n");
    put(USERS, "[USER0]\r\nFULLEMAIL=anna@b\r\n");
    start();
    Client client = greeted();
    const struct {
        std::string argument, line, sender, arrival;
    } cases[] = {
        {" Anna@B SIZE=5", "<Anna@B>", "Anna@B", "Internal mail arriving for Anna@B"},
        {"<Anna@B", "<Anna@B", "<Anna@B", "External mail arriving for Anna@B"},
        {"Anna@B>", "<Anna@B>>", "Anna@B>", STRANGER + "Anna@B"s},
        {"<a b>", "<a", "<a", STRANGER + "a"s},
        {"x:<y>", "<y>", "<y>", STRANGER + "y"s},
        {"\ty\xE9@%s", "<\ty\xE9@%s>", "\ty\xE9@%s", STRANGER + "\ty\xE9@%s"s},
        {"<>", "<>", "<>", STRANGER},
    };
    Lines logged;
    forget_log();
    for (const auto &one : cases) {
        says_ok(client, {"MAIL FROM:" + one.argument, "RCPT TO:" + one.argument});
        EXPECT_EQ("MAIL FROM: " + one.line + "\r\nRCPT TO: " + one.line + "\r\n",
                  spooled(".env"));
        logged.push_back("SMTP: [127.0.0.1] Mail From [" + one.sender + "]");
        logged.push_back("SMTP: [127.0.0.1] " + one.arrival);
    }
    EXPECT_EQ(logged, log_lines());
}

TEST_F(Spool, NamesThatAreTakenAreNotGivenAgain)
{
    start();
    const auto milliseconds = [](clockid_t clock) {
        timespec now;
        clock_gettime(clock, &now);
        return static_cast<unsigned long>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
    };
    const unsigned long now = milliseconds(CLOCK_REALTIME);
    const unsigned long begin = (now / 1000 + 2) * 1000;
    const unsigned long tick = milliseconds(CLOCK_MONOTONIC) + begin - now;
    for (unsigned long i = 0; i < 400; i++) { // the first two of each millisecond then
        char name[40];
        snprintf(name, sizeof name, "qlnemails/%08lx%08lx0", begin / 1000,
                 (tick + i) & 0xFFFFFFFF);
        put(name + "0.txt"s, "");
        put(name + "1.env"s, "");
    }
    sleep_ms(static_cast<int>(begin + 50 - milliseconds(CLOCK_REALTIME)));
    Client client = with_recipient();
    std::string made;
    for (const std::string &name : files()) {
        made = name.ends_with("2.env") ? name.substr(0, 18) : made;
    }

    // A file of the final name that comes while the message does is replaced.
    put("qlnemails/" + made + ".txt", "old");
    EXPECT_EQ(OK, client.delivers("new\r\n"));
    EXPECT_EQ("new\r\n", text_of(content("qlnemails/" + made + ".txt")));
}

TEST_F(Spool, ATransactionKeepsItsFilesUntilItsMessageIsHandedOver)
{
    const time_t begin = time(nullptr);
    start();
    Client client = with_recipient();
    const std::string base = files().at(0).substr(0, 18);
    EXPECT_TRUE(std::regex_match(base, std::regex("[0-9a-f]{16}00"))) << base;
    const time_t seconds = std::stol(base.substr(0, 8), nullptr, 16);
    EXPECT_TRUE(begin <= seconds && seconds <= time(nullptr)) << base;

    says_ok(client, {"RSET", "RCPT TO:<more@firm.example>"});
    EXPECT_EQ("MAIL FROM: <anna@firm.example>\r\nRCPT TO: <fax@firm.example>\r\n"
              "RCPT TO: <more@firm.example>\r\n",
              spooled(".env"));
    says_ok(client, {"MAIL FROM:<other@firm.example>"});
    client.asks("DATA");
    client.says("begun\r\n");
    EXPECT_TRUE(comes_true([&] {
        return content("qlnemails/" + base + ".tmp").ends_with("begun\r\n");
    })) << "each line is in the file at once";
    EXPECT_EQ((Lines{base + ".env", base + ".tmp"}), files());
    says_ok(client, {"."});
    EXPECT_EQ((Lines{base + ".env", base + ".txt"}), files());
    EXPECT_EQ("MAIL FROM: <other@firm.example>\r\n", spooled(".env"));

    says_ok(client, {"MAIL FROM:<>"});
    EXPECT_EQ(OK, client.delivers(""));
    EXPECT_EQ(4U, files().size()) << "the second message has a name of its own";
}

TEST_F(Spool, TheStartNamesWhatAnEarlierRunHasLeft)
{
    for (int i = 10; i < 36; i++) {
        const std::string base = "qlnemails/0123456789abcdef" + std::to_string(i);
        put(base + (i == 10 ? ".txt" : ".tmp"), "");
        put(base + (i == 10 ? ".env" : ".note"), "");
    }
    put("pending/0123456789abcdef00.env", "");
    put("mailin/0123456789abcdef00.env", ""); // its message may have been taken just now
    const auto earlier = fs::file_time_type::clock::now() - std::chrono::minutes(2);
    fs::last_write_time("pending/0123456789abcdef00.env", earlier);
    fs::last_write_time("qlnemails/0123456789abcdef10.env", earlier);
    launch();
    EXPECT_TRUE(logs("SMTP: More files of unfinished messages are left in ["));
    EXPECT_EQ(20, times_logged("An unfinished message of an earlier run is left in"));
    EXPECT_EQ(0, times_logged("mailin/"));
    EXPECT_EQ(0, times_logged("abcdef10"));
    EXPECT_EQ(1, times_logged("An envelope without a message is left in [" +
                              path("pending/0123456789abcdef00.env") + "]"));
}

TEST_F(Spool, APathOfTwoHundredAndFiftyNineCharactersIsTheLongest)
{
    const size_t room = 259 - path("/qlnemails/0123456789abcdef00.env").size();
    for (const bool fits : {true, false}) {
        const std::string deep(fits ? room : room + 1, 'd');
        fs::create_directory(deep);
        EXPECT_EQ(0, system(("cd " + deep + " && ln -s ../* .").c_str()));
        forget_log();
        launch({"env", "-C", deep});
        EXPECT_TRUE(logs("Waiting for connection"));
        const std::string told =
            "The installation directory's path is too long for files in [qlnemails]";
        EXPECT_EQ(fits ? "" : told + "\n", content("stderr"));
        EXPECT_EQ(fits ? 0 : 1, times_logged("SMTP: " + told));
        system((QLNSMTP_CHECK " " + path(deep) + " >said").c_str());
        EXPECT_EQ(fits, content("said").find("qlnemails: error: its path is too long") ==
                            std::string::npos);
        EXPECT_EQ(fits ? "250 " : "214 ", // the next command's, where there is no name
                  greeted().asks("MAIL FROM:<a@b.c>\r\nHELP").substr(0, 4));
        stop();
    }
}

TEST_F(Spool, UnfinishedFilesGoWithTheirClient)
{
    put(USERS, "[USER0]\r\nID=anna\r\n");
    start();
    Client client = greeted();
    says_ok(client, {"RCPT TO:<fax@firm.example>", "MAIL FROM:anna"});
    EXPECT_EQ("MAIL FROM: <anna>\r\n", spooled(".env", "mailin"));
    EXPECT_EQ(OK, client.delivers(""));
    says_ok(client,
            {"RCPT TO:<fax@firm.example>", "MAIL FROM: "}); // still a local sender
    EXPECT_EQ("MAIL FROM: <>\r\n", spooled(".env", "pending"));
    client.asks("DATA");
    client.leaves();
    all_closed();
    EXPECT_EQ(Lines{}, files("pending"));
    EXPECT_EQ(2U, files("mailin").size());

    // A sender who is refused leaves no envelope to the next recipient.
    Client next = greeted();
    says_ok(next, {"RCPT TO:<fax@firm.example>"});
    fs::rename("mailin", "away");
    EXPECT_EQ("451 ", next.asks("MAIL FROM:<eve@firm.example>").substr(0, 4));
    says_ok(next, {"MAIL FROM:<eve@firm.example>"});
    EXPECT_EQ("MAIL FROM: <eve@firm.example>\r\n", spooled(".env"));
}
