// The files of a transaction: what the fax server finds, and what it must never find.

#include "installation.h"

#include <ctime>
#include <filesystem>
#include <regex>

namespace fs = std::filesystem;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

namespace
{

constexpr char OK[] = "250 OK\r\n";

} // namespace

class Spool : public Installation
{
};

TEST_F(Spool, EnvelopesNameSenderAndRecipientsAsTheyWereGiven)
{
    settings("SocketTimeout=0\r\n");
    put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nFULLEMAIL=anna@b\r\n");
    start();
    Client client = greeted();
    const struct {
        std::string argument, line, sender, recipient;
    } cases[] = {
        {"<Anna@B>", "<Anna@B>", "<Anna@B>", "Anna@B"},
        {"Anna@B", "<Anna@B>", "Anna@B", "Anna@B"},
        {" <Anna@B> SIZE=5", "<Anna@B>", "<Anna@B>", "Anna@B"},
        {"<Anna@B", "<Anna@B", "<Anna@B", "Anna@B"},
        {"Anna@B>", "<Anna@B>>", "Anna@B>", "UNKNOWN USER Anna@B"},
        {"<Anna@B>x>", "<Anna@B>x>", "<Anna@B>x>", "UNKNOWN USER Anna@B>x"},
        {"<a b>", "<a", "<a", "UNKNOWN USER a"},
        {":anna@b", "<anna@b>", "anna@b", "anna@b"},
        {"x:<y>", "<y>", "<y>", "UNKNOWN USER y"},
        {" x:y", "<x:y>", "x:y", "UNKNOWN USER x:y"},
        {"\ty", "<\ty>", "\ty", "UNKNOWN USER \ty"},
        {"\xE9@%s", "<\xE9@%s>", "\xE9@%s", "UNKNOWN USER \xE9@%s"},
        {"<>", "<>", "<>", "UNKNOWN USER "},
    };
    std::string recipients;
    Lines logged;
    forget_log();
    for (const auto &one : cases) {
        EXPECT_EQ(OK, client.asks("MAIL FROM:" + one.argument));
        EXPECT_EQ("MAIL FROM: " + one.line + "\r\n", spooled(".env")) << one.argument;
        logged.push_back("SMTP: [127.0.0.1] Mail From [" + one.sender + "]");
    }
    EXPECT_EQ(OK, client.asks("MAIL FROM:"));
    logged.emplace_back("SMTP: [127.0.0.1] Mail From []");
    EXPECT_EQ(OK, client.asks("MAIL FROM:   ")); // names nobody to log
    for (const auto &one : cases) {
        EXPECT_EQ(OK, client.asks("RCPT TO:" + one.argument));
        recipients += "RCPT TO: " + one.line + "\r\n";
        logged.push_back("SMTP: [127.0.0.1] External mail arriving for " + one.recipient);
    }
    EXPECT_EQ("550 No such user here\r\n", client.asks("RCPT TO: "));
    EXPECT_EQ("MAIL FROM: <>\r\n" + recipients, spooled(".env"));
    EXPECT_EQ(logged, log_lines());
}

TEST_F(Spool, ATransactionKeepsItsFilesUntilItsMessageIsHandedOver)
{
    const time_t begin = time(nullptr);
    start();
    Client client = with_recipient();
    const Lines first = files();
    ASSERT_EQ(1U, first.size());
    EXPECT_TRUE(std::regex_match(first[0], std::regex("[0-9a-f]{16}00\\.env")));
    const auto seconds =
        static_cast<time_t>(std::stoul(first[0].substr(0, 8), nullptr, 16));
    EXPECT_TRUE(seconds >= begin && seconds <= time(nullptr));

    EXPECT_EQ(OK, client.asks("RSET"));
    EXPECT_EQ(OK, client.asks("RCPT TO:<more@firm.example>"));
    EXPECT_EQ("MAIL FROM: <anna@firm.example>\r\nRCPT TO: <fax@firm.example>\r\n"
              "RCPT TO: <more@firm.example>\r\n",
              spooled(".env"));
    EXPECT_EQ(OK, client.asks("MAIL FROM:<other@firm.example>"));
    EXPECT_EQ(OK, client.asks("RCPT TO:<only@firm.example>"));
    EXPECT_EQ(first, files());

    const std::string base = first[0].substr(0, 18);
    client.asks("DATA");
    client.says("begun\r\n");
    const auto body = [&] { return content("qlnemails/" + base + ".tmp"); };
    for (int i = 0; i < 1000 && !body().ends_with("begun\r\n"); i++) {
        client.is_closed(5);
    }
    EXPECT_TRUE(body().ends_with("begun\r\n")) << "each line is in the file at once";
    EXPECT_FALSE(exists("qlnemails/" + base + ".txt"));
    EXPECT_EQ(OK, client.asks("."));
    EXPECT_EQ((Lines{base + ".env", base + ".txt"}), files());
    EXPECT_EQ("MAIL FROM: <other@firm.example>\r\nRCPT TO: <only@firm.example>\r\n",
              spooled(".env"));

    EXPECT_EQ(OK, client.asks("MAIL FROM:<>"));
    client.asks("DATA");
    EXPECT_EQ(OK, client.asks("."));
    EXPECT_EQ(4U, files().size()) << "the second message has a name of its own";
    client.leaves();
    all_closed();
    EXPECT_EQ(4U, files().size());
}

TEST_F(Spool, RecipientsWithoutASenderHaveDirectoriesOfTheirOwn)
{
    settings("FULLDETAIL=1\r\n");
    put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nID=anna\r\n");
    start();
    Client client = greeted();
    EXPECT_EQ(OK, client.asks("RCPT TO:<fax@firm.example>"));
    EXPECT_EQ("RCPT TO: <fax@firm.example>\r\n", spooled(".env", "mailin"));
    EXPECT_EQ(OK, client.asks("MAIL FROM:anna"));
    EXPECT_EQ("MAIL FROM: <anna>\r\n", spooled(".env", "mailin"));
    client.asks("DATA");
    EXPECT_EQ(OK, client.asks("in\r\n."));
    EXPECT_EQ("in\r\n", text_of(spooled(".txt", "mailin")));

    EXPECT_EQ(OK, client.asks("RCPT TO:<fax@firm.example>")); // still a local sender
    EXPECT_TRUE(logs("Internal mail arriving for UNKNOWN USER fax@firm.example"));
    EXPECT_EQ(1U, files("pending").size());
    EXPECT_EQ(OK, client.asks("MAIL FROM: "));
    EXPECT_TRUE(logs("***DEBUG** - NULL sender address recieved ??????"));
    EXPECT_EQ("MAIL FROM: <>\r\n", spooled(".env", "pending"));
    client.asks("DATA");
    client.says("never finished\r\n");
    client.leaves();
    all_closed();
    EXPECT_EQ(Lines{}, files("pending"));
    EXPECT_EQ(2U, files("mailin").size());
}

TEST_F(Spool, ACloseDownLeavesUnfinishedFilesWhereTheyAre)
{
    start();
    Client client = with_recipient();
    client.asks("DATA");
    forget_log();
    EXPECT_EQ(0, stop());
    EXPECT_TRUE(client.is_closed());
    EXPECT_EQ("SMTP: Server is being closed down", log_lines().back());
    EXPECT_EQ("", text_of(spooled(".tmp")));
    EXPECT_EQ("MAIL FROM: <anna@firm.example>\r\nRCPT TO: <fax@firm.example>\r\n",
              spooled(".env"));
}

TEST_F(Spool, ADirectoryThatIsMissingIsReportedAndTriedAgain)
{
    const std::string fatal =
        "FATAL ERROR - Unable to open output file for mail message...";
    start();
    Client client = greeted();
    fs::remove(path("qlnemails"));
    fs::remove(path("mailin"));
    // No reply: the next one is another command's.
    client.says("MAIL FROM:<anna@firm.example>\r\n");
    EXPECT_EQ("214 ", client.asks("HELP").substr(0, 4));
    EXPECT_EQ((Lines{"SMTP: [127.0.0.1] Mail From [<anna@firm.example>]", fatal}),
              (Lines{log_lines().end()[-2], log_lines().back()}));
    client.says("RCPT TO:<fax@firm.example>\r\n");
    EXPECT_EQ("214 ", client.asks("HELP").substr(0, 4));
    EXPECT_EQ(fatal, log_lines().back());

    fs::create_directory(path("QLNEmails")); // letter case does not matter
    EXPECT_EQ(OK, client.asks("MAIL FROM:<anna@firm.example>"));
    EXPECT_EQ("MAIL FROM: <anna@firm.example>\r\n", spooled(".env", "QLNEmails"));
    client.asks("DATA");
    EXPECT_EQ(OK, client.asks("."));
    EXPECT_EQ(2U, files("QLNEmails").size());
    EXPECT_FALSE(exists("mailin"));
}
