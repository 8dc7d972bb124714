// The activity log: its file, its list, its size.

#include "base/gateway.h"
#include "base/resource_ids.h"
#include "base/settings.h"
#include "installation.h"
#include "log/activity_log.h"
#include "log/log_trim.h"
#include "platform/file_contents.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"

#include <sys/mount.h>
#include <sys/resource.h>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <regex>
#include <sstream>

namespace fs = std::filesystem;

namespace
{

constexpr char LOG[] = "LOGS/QLNSMTP.TXT";
constexpr size_t MEGABYTE = 1 << 20;

} // namespace

// The log of this very process, in an installation of its own.
class Log : public Installation
{
  protected:
    Log()
    {
        fs::current_path(path(""));
        settings_locate();
        set("");
        gateway.statusWindow = dialog_create(status_dialog, nullptr, status_dialog_proc);
        list_ = dialog_item(gateway.statusWindow, CONTROL_LOG_LIST);
        log_flush();
    }
    ~Log() override
    {
        window_destroy(gateway.statusWindow);
        fs::current_path("/");
        file_contents_invalidate();
    }

    void set(const std::string &lines)
    {
        settings(lines);
        file_contents_invalidate();
    }
    static void writes(std::string text)
    {
        log_write(text.data());
        log_flush();
    }
    std::string entry(int from_end) const
    {
        return list_entry(list_, list_count(list_) - from_end);
    }
    // How many writes until a log that has grown too large is trimmed.
    int writes_until_trimmed()
    {
        put(LOG, copies(MEGABYTE / 8 + 1, "a line\r\n"));
        int count = 0;
        while (count < 1000 && fs::file_size(path(LOG)) > MEGABYTE) {
            writes("a write");
            count++;
        }
        return count;
    }

    Window *list_ = nullptr;
};

using namespace std::string_literals;

TEST_F(Log, EveryTextGetsItsLineAndItsEntry)
{
    const std::string x506(506, 'x');
    const struct {
        std::string text, line, entry;
    } cases[] = {
        {"plain", "plain\r\n", "plain"},
        {"ended\r\n", "ended\r\n", "ended"},
        {"one\r\ntwo", "one\r\ntwo", "one"},
        {"one\r\ntwo\rx", "one\r\ntwo\rx\n", "one"},
        {"feed\nalone", "feed\nalone\r\n", "feed"},
        {"\xe4\xf6 100% %s", "\xe4\xf6 100% %s\r\n", "\xe4\xf6 100% %s"},
        {x506 + "y", x506 + "\r\n", x506 + "y"},
    };
    std::string expected;
    for (const auto &one : cases) {
        writes(one.text);
        expected += one.line;
        EXPECT_EQ(expected, content(LOG)) << one.text;
        EXPECT_EQ(one.entry, entry(1));
    }
    set("LOGONLY=1\n");
    writes("file only");
    set("LOGONLY=0\n");
    writes("");
    EXPECT_EQ(expected + "file only\r\n\r\n", content(LOG));
    EXPECT_EQ(x506 + "y", entry(1));

    for (int i = 0; i < 1300; i++) {
        writes("entry " + std::to_string(i));
        ASSERT_LE(list_count(list_), 501);
    }
    EXPECT_EQ("entry 799", entry(501)); // the oldest that it holds
    EXPECT_EQ("entry 1299", entry(1));
    EXPECT_LE(list_entry_rect(list_, list_count(list_) - 1).bottom,
              window_client_rect(list_).bottom);
}

TEST_F(Log, IsTrimmedToWholeLinesWhenItHasGrownTooLarge)
{
    const std::string log = path(LOG);
    std::string lines;
    for (int i = 0; lines.size() < 3 * MEGABYTE - 40; i++) {
        lines += std::to_string(i) + "\r\nx\r\n\r\n";
    }
    lines.insert(0, 3 * MEGABYTE - lines.size(), '-');
    // From the first whole line on, without the lines of nothing.
    std::istringstream tail(lines.substr(lines.find('\n', 2 * MEGABYTE) + 1));
    std::string kept;
    for (std::string line; std::getline(tail, line);) {
        kept += line == "\r" ? "" : line + '\n';
    }
    set("MINSIZE=1\nMAXSIZE=3\n");
    put(LOG, lines);
    EXPECT_EQ(0, trim_log_file(log.c_str())); // exactly the limit
    put(LOG, "a" + lines);
    set("MINSIZE=1\nMAXSIZE=2048\n"); // held to what a size can be
    EXPECT_EQ(0, trim_log_file(log.c_str()));
    set("MINSIZE=1\nMAXSIZE=2\n");
    fs::rename(path("LOG"), path("AWAY"));
    EXPECT_EQ(0, trim_log_file(log.c_str())); // nowhere to put what is kept
    fs::rename(path("AWAY"), path("LOG"));
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{MEGABYTE / 2, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(0, trim_log_file(log.c_str())); // no room for all of it
    limit.rlim_cur = RLIM_INFINITY;
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_TRUE("a" + lines == content(LOG));
    EXPECT_EQ(std::vector<std::string>{}, files("LOG"));
    EXPECT_EQ(1, trim_log_file(log.c_str()));
    EXPECT_TRUE(kept == content(LOG));
    EXPECT_EQ(std::vector<std::string>{}, files("LOG"));
    // On a file system of its own, which has no room for the copy, and then has.
    const std::string logs = path("LOGS");
    if (mount("none", logs.c_str(), "tmpfs", 0, "size=3500k") == 0) {
        put(LOG, "a" + lines);
        EXPECT_EQ(0, trim_log_file(log.c_str()));
        EXPECT_TRUE("a" + lines == content(LOG));
        EXPECT_EQ(0, mount("none", logs.c_str(), "tmpfs", MS_REMOUNT, "size=5m"));
        EXPECT_EQ(1, trim_log_file(log.c_str()));
        EXPECT_TRUE(kept == content(LOG));
        EXPECT_EQ(0, umount(logs.c_str()));
    }
    set("");
    for (const int beyond : {0, 1}) { // of 750 megabytes, when the settings say nothing
        fs::resize_file(log, 750 * MEGABYTE + static_cast<size_t>(beyond));
        EXPECT_EQ(beyond, trim_log_file(log.c_str()));
    }
    EXPECT_EQ(MEGABYTE - 511, content(LOG).size()); // less the piece of a line

    set("MINSIZE=0\nMAXSIZE=1\n");
    EXPECT_LE(writes_until_trimmed(), 501); // others of this process may have counted
    EXPECT_EQ(501, writes_until_trimmed());
    EXPECT_EQ(
        "\r\n********LOG FILE SIZE TRIMMED TO SPECIFIED MINIMUM SIZE********\r\n\r\n"
        "a write\r\n",
        content(LOG));
}

// --- A running server's log

TEST_F(Installation, LogAndReceivedHeaderCarryTheZonesTimeInEnglish)
{
    start({"env", "TZ=<ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789ABCD>-5:30",
           "LC_ALL=de_DE.UTF-8", "LANGUAGE=de"});
    const time_t now = time(nullptr);
    Client client = with_recipient("127.0.0.7");
    settings("VERSION=9.9\r\n"); // no BUILDDATE any more
    client.asks("DATA");
    client.asks(".");
    const std::regex header(
        R"(Received: from 127\.0\.0\.7 on ([A-Z][a-z]{2} [A-Z][a-z]{2} [0-3]\d )"
        R"([0-2]\d:[0-5]\d:[0-5]\d \d{4}) ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789ABCD\r\n)"
        R"(\tby Quillon email-to-fax SMTP server )"
        R"(v9\.9, Build: Unspecified\r\n\tusing SMTP \(Quillon SMTP Server v2\.61\.00 )"
        R"(Build: 1 January,2005\)\r\n)");
    const std::string text = spooled(".txt");
    std::smatch received;
    ASSERT_TRUE(std::regex_match(text, received, header)) << text;
    tm there{};
    strptime(received.str(1).c_str(), "%a %b %d %T %Y", &there);
    EXPECT_NEAR(static_cast<double>(timegm(&there) - 19800 - now), 0, 5);
    const std::string log = content(LOG);
    strptime(log.c_str() + log.rfind(" SMTP:") - 23, "%d %b, %Y %T :", &there);
    EXPECT_NEAR(static_cast<double>(timegm(&there) - 19800 - now), 0, 5);
}

// The file has the bytes as they came. A terminal that shows the output gets no control
// character, of ASCII, of an eight-bit set or of UTF-8, nothing that turns the direction
// of writing or cannot be seen, and no bytes that are no UTF-8 (too long, surrogates,
// cut).
TEST_F(Installation, WhatATerminalWouldActUponReachesTheOutputAsDigits)
{
    settings("FULLDETAIL=1\n");
    start();
    // In pieces, so that the source itself turns no direction.
    const std::string bytes =
        "\x1b[2J|\x7f|\x9b|\xc2\x9b|\xe0\x82\x9b|\xf0\x80\x82\x9b|\xc3\xa4|a\xe2"s +
        "\x80\xae" + "b|\xef\xbb\xbf|\xed\xa0\x9b|\xf5\x80\x80\x9b|\xf4\x90\x80\x9b|\xe4";
    const std::string digits =
        "\\x1b[2J|\\x7f|\\x9b|\\xc2\\x9b|\\xe0\\x82\\x9b|\\xf0\\x80\\x82\\x9b|\xc3\xa4|"
        "a\\xe2\\x80\\xaeb|\\xef\\xbb\\xbf|\\xed\\xa0\\x9b|\\xf5\\x80\\x80\\x9b|"
        "\\xf4\\x90\\x80\\x9b|\\xe4";
    Client client = connect_from();
    client.hears();
    EXPECT_EQ("250", client.asks("HELO " + bytes).substr(0, 3));
    EXPECT_EQ("250 OK\r\n", client.asks("MAIL FROM:<" + bytes + "@d>"));
    EXPECT_TRUE(comes_true(
        [&] { return content("stdout").find(digits + "@d>") != std::string::npos; }));
    EXPECT_NE(std::string::npos, content("stdout").find("[" + digits + "]"));
    EXPECT_EQ(std::string::npos, content("stdout").find_first_of("\x1b\x7f"));
    EXPECT_TRUE(logs(bytes + "@d>"));
}

TEST_F(Installation, LogFileMayBeMovedCutOrDeletedAtAnyTime)
{
    start();
    Client client = greeted();
    fs::rename(path(LOG), path("LOGS/old"));
    client.asks("MAIL FROM:<a@b.example>");
    EXPECT_NE(std::string::npos, content(LOG).find("a@b.example"));
    EXPECT_EQ(std::string::npos, content("LOGS/old").find("a@b.example"));
    put(LOG, "");
    client.asks("RCPT TO:<c@d.example>");
    EXPECT_NE(std::string::npos, content(LOG).find("c@d.example"));
    EXPECT_FALSE(content(LOG).starts_with('\0'));
    fs::rename(path("LOGS"), path("AWAY"));
    EXPECT_EQ("250 OK\r\n", client.asks("RCPT TO:<lost@d.example>"));
    fs::rename(path("AWAY"), path("LOGS"));
    EXPECT_EQ(0, stop());
    EXPECT_NE(std::string::npos, content("stdout").find("lost@d")); // the list goes on
}
