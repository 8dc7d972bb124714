// The activity log: its file, its list, its size.

#include "base/gateway.h"
#include "base/resource_ids.h"
#include "installation.h"
#include "log/activity_log.h"
#include "log/log_trim.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"

#include <sys/mount.h>
#include <sys/resource.h>

#include <csignal>
#include <ctime>
#include <regex>

constexpr size_t MEGABYTE = 1 << 20;

// The log of this very process, in an installation of its own.
class Log : public Installation
{
  protected:
    Log()
    {
        gateway.statusWindow = dialog_create(status_dialog, nullptr, status_dialog_proc);
        list_ = dialog_item(gateway.statusWindow, CONTROL_LOG_LIST);
        log_flush();
    }
    ~Log() override
    {
        window_destroy(gateway.statusWindow);
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

    const std::string file_ = path(LOG);
    Window *list_;
};

TEST_F(Log, EveryTextGetsItsLineAndItsEntry)
{
    const std::string x506(506, 'x');
    const std::string cases[][3] = {
        {"ended\r\n", "ended\r\n", "ended"},
        {"one\r\ntwo", "one\r\ntwo", "one"},
        {"one\r\ntwo\rx", "one\r\ntwo\rx\n", "one"},
        {"feed\nalone", "feed\nalone\r\n", "feed"},
        {"\xe4\xf6 100% %s", "\xe4\xf6 100% %s\r\n", "\xe4\xf6 100% %s"},
        {x506 + "y", x506 + "\r\n", x506 + "y"},
    };
    std::string expected;
    for (const auto &[text, line, shown] : cases) {
        writes(text);
        expected += line;
        EXPECT_EQ(expected, content(LOG)) << text;
        EXPECT_EQ(shown, entry(1));
    }
    settings("LOGONLY=1\n");
    writes("file only");
    settings("LOGONLY=0\n");
    writes("");
    EXPECT_EQ(expected + "file only\r\n\r\n", content(LOG));
    EXPECT_EQ(x506 + "y", entry(1));

    // The file may be moved, cut or out of reach at any time.
    fs::rename(file_, file_ + ".old");
    writes("begun again");
    EXPECT_EQ("begun again\r\n", content(LOG));
    put(LOG, "");
    writes("cut");
    EXPECT_EQ("cut\r\n", content(LOG));
    fs::rename("LOGS", "AWAY");
    writes("only in the list");
    EXPECT_EQ("only in the list", entry(1));
    fs::rename("AWAY", "LOGS");

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
    std::string lines, kept;
    for (int i = 0; lines.size() < 3 * MEGABYTE; i++) {
        const std::string two = std::to_string(100000000 + i) + "\r\nx\r\n";
        kept += lines.size() < 2 * MEGABYTE ? "" : two; // without the lines of nothing
        lines += two + "\r\n";
    }
    kept.erase(0, kept.find('x')); // from the first whole line on
    const auto trims = [&](int expected, const std::string &result) {
        EXPECT_EQ(expected, trim_log_file(file_.c_str()));
        EXPECT_TRUE(result == content(LOG));
        EXPECT_TRUE(files("LOG").empty());
    };
    lines.insert(0, "a");
    put(LOG, lines);
    settings("MINSIZE=1\nMAXSIZE=2048\n"); // held to what a size can be
    trims(0, lines);
    settings("MINSIZE=1\nMAXSIZE=2\n");
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{MEGABYTE / 2, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    trims(0, lines); // no room for all of it
    limit.rlim_cur = RLIM_INFINITY;
    setrlimit(RLIMIT_FSIZE, &limit);
    trims(1, kept);
    // On a file system of its own, which has no room for the copy, and then has.
    if (mount("none", "LOGS", "tmpfs", 0, "size=3500k") == 0) {
        put(LOG, lines);
        trims(0, lines);
        EXPECT_EQ(0, mount("none", "LOGS", "tmpfs", MS_REMOUNT, "size=5m"));
        trims(1, kept);
        EXPECT_EQ(0, umount("LOGS"));
    }
    settings("");
    for (const int beyond : {0, 1}) { // of 750 megabytes, when the settings say nothing
        fs::resize_file(file_, 750 * MEGABYTE + static_cast<size_t>(beyond));
        EXPECT_EQ(beyond, trim_log_file(file_.c_str()));
    }
    EXPECT_EQ(MEGABYTE - 511, content(LOG).size()); // less the piece of a line

    settings("MINSIZE=0\nMAXSIZE=1\n");
    int writes_until_trimmed[2] = {}; // others of this process may have counted
    for (int &count : writes_until_trimmed) {
        put(LOG, std::string(MEGABYTE + 1, 'a'));
        for (; count < 1000 && fs::file_size(file_) > MEGABYTE; count++) {
            writes("a write");
        }
    }
    EXPECT_LE(writes_until_trimmed[0], 501);
    EXPECT_EQ(501, writes_until_trimmed[1]);
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
    settings("VERSION=9.9\r\n"); // no BUILDDATE any more
    EXPECT_EQ(OK, with_recipient("127.0.0.7").delivers(""));
    const std::regex header(
        R"(Received: from 127\.0\.0\.7 on (\w{3} \w{3} \d\d \d\d:\d\d:\d\d \d{4}) )"
        R"(ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789ABCD\r\n)"
        R"(\tby Quillon email-to-fax SMTP server v9\.9, Build: Unspecified\r\n)"
        R"(\tusing SMTP \(Quillon SMTP Server v2\.61\.00 Build: 1 January,2005\)\r\n)");
    const std::string text = spooled(".txt");
    std::smatch received;
    ASSERT_TRUE(std::regex_match(text, received, header)) << text;
    const std::string log = content(LOG);
    const auto is_now = [now](const std::string &stamp, const char *format) {
        tm there{};
        EXPECT_NE(nullptr, strptime(stamp.c_str(), format, &there)) << stamp;
        EXPECT_NEAR(static_cast<double>(timegm(&there) - 19800 - now), 0, 5);
    };
    is_now(received.str(1), "%a %b %d %T %Y");
    is_now(log.substr(log.rfind(" SMTP:") - 23), "%d %b, %Y %T :");
}

// The file has the bytes as they came. A terminal gets no control character of any set,
// nothing that turns the direction of writing or cannot be seen, and no bytes that are no
// UTF-8 (too long, surrogates, cut).
TEST_F(Installation, WhatATerminalWouldActUponReachesTheOutputAsDigits)
{
    start();
    // In pieces, so that the source itself turns no direction.
    const std::string bytes =
        "\x1b[2J|\x7f|\x9b|\xc2\x9b|\xe0\x82\x9b|\xf0\x80\x82\x9b|\xc3\xa4|a\xe2"s +
        "\x80\xae" + "b|\xef\xbb\xbf|\xed\xa0\x9b|\xf5\x80\x80\x9b|\xf4\x90\x80\x9b|\xe4";
    const std::string digits =
        R"(\x1b[2J|\x7f|\x9b|\xc2\x9b|\xe0\x82\x9b|\xf0\x80\x82\x9b|ä|a\xe2\x80\xaeb|)"
        R"(\xef\xbb\xbf|\xed\xa0\x9b|\xf5\x80\x80\x9b|\xf4\x90\x80\x9b|\xe4)";
    EXPECT_EQ(OK, greeted().asks("MAIL FROM:<" + bytes + ">"));
    EXPECT_TRUE(logs("[<" + bytes + ">]"));
    EXPECT_TRUE(comes_true([&] {
        return content("stdout").find("[<" + digits + ">]") != std::string::npos;
    }));
    EXPECT_EQ(std::string::npos, content("stdout").find_first_of("\x1b\x7f"));
}
