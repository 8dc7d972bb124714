// The activity log: its file, its list, its size.

#include "core/gateway.h"
#include "core/settings.h"
#include "installation.h"
#include "log/activity_log.h"
#include "log/log_trim.h"
#include "platform/file_contents.h"
#include "ui/resource_ids.h"
#include "ui/resources.h"
#include "ui/status_window.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace
{

constexpr char LOG[] = "LOGS/QLNSMTP.TXT";
constexpr char SETTINGS_FILE[] = "DATA/RAW/QLNXSERVER.DAT";
constexpr size_t MEGABYTE = 1 << 20;
const std::string MARKER =
    "\r\n********LOG FILE SIZE TRIMMED TO SPECIFIED MINIMUM SIZE********\r\n\r\n";

} // namespace

// The log of this very process, in an installation of its own.
class Log : public Installation
{
  protected:
    void SetUp() override
    {
        ASSERT_EQ(0, chdir(path("").c_str()));
        file_contents_look_again();
        settings_locate();
        gateway.statusWindow = dialog_create(status_dialog, nullptr, status_dialog_proc);
        list_ = dialog_item(gateway.statusWindow, CONTROL_LOG_LIST);
        log_flush();
    }
    void TearDown() override
    {
        window_destroy(gateway.statusWindow);
        EXPECT_EQ(nullptr, gateway.statusWindow);
        EXPECT_EQ(0, chdir("/"));
        file_contents_look_again();
    }

    void set(const std::string &lines)
    {
        put(SETTINGS_FILE, "[QLNSMTP]\n" + lines);
        file_contents_look_again();
    }
    void writes(const std::string &text)
    {
        std::vector<char> bytes(text.begin(), text.end());
        bytes.push_back('\0');
        log_write(bytes.data());
        log_flush();
    }
    std::string newest() const
    {
        return list_entry(list_, list_count(list_) - 1);
    }
    void put_log(size_t size, const std::string &line)
    {
        std::string text;
        while (text.size() < size) {
            text += line;
        }
        put(LOG, text.substr(text.size() - size));
    }

    Window *list_ = nullptr;
};

TEST_F(Log, EveryTextGetsItsLineAndItsEntry)
{
    const std::string x506(506, 'x');
    const struct {
        std::string text, line, entry;
    } cases[] = {
        {"plain", "plain\r\n", "plain"},
        {"ended\r\n", "ended\r\n", "ended"},
        {"half ended\r", "half ended\r\n", "half ended"},
        {"one\r\ntwo", "one\r\ntwo", "one"},
        {"one\r\ntwo\rx", "one\r\ntwo\rx\n", "one"},
        {"feed\nalone", "feed\nalone\r\n", "feed"},
        {"\xe4\xf6 100% %s", "\xe4\xf6 100% %s\r\n", "\xe4\xf6 100% %s"},
        {x506, x506 + "\r\n", x506},
        {x506 + "y", x506 + "\r\n", x506 + "y"},
        {std::string(505, 'x') + "\r\n", std::string(505, 'x') + "\r\n",
         std::string(505, 'x')},
        {std::string(504, 'x') + "\r\n", std::string(504, 'x') + "\r\n",
         std::string(504, 'x')},
    };
    std::string expected;
    for (const auto &one : cases) {
        writes(one.text);
        expected += one.line;
        EXPECT_EQ(expected, content(LOG)) << one.text;
        EXPECT_EQ(one.entry, newest());
    }
    const int entries = list_count(list_);
    writes("");
    EXPECT_EQ(expected + "\r\n", content(LOG));
    EXPECT_EQ(entries, list_count(list_));

    set("LOGONLY=1\n");
    writes("file only");
    set("LOGONLY=0\n");
    writes("both");
    EXPECT_EQ(expected + "\r\nfile only\r\nboth\r\n", content(LOG));
    EXPECT_EQ(entries + 1, list_count(list_));

    Window *window = std::exchange(gateway.statusWindow, nullptr);
    writes("nowhere");
    gateway.statusWindow = window;
    EXPECT_EQ(expected + "\r\nfile only\r\nboth\r\n", content(LOG));
}

TEST_F(Log, TheListHoldsTheNewestEntriesOnly)
{
    const int before = list_count(list_);
    for (int i = before; i < 501; i++) {
        writes("entry " + std::to_string(i));
    }
    EXPECT_EQ(501, list_count(list_));
    const std::string second = list_entry(list_, 1);
    for (int i = 501; i < 1300; i++) {
        writes("entry " + std::to_string(i));
        ASSERT_EQ(501, list_count(list_));
    }
    EXPECT_NE(second, list_entry(list_, 0));
    EXPECT_STREQ("entry 799", list_entry(list_, 0));
    EXPECT_EQ("entry 1299", newest());
    list_clear(list_);
    writes("after the clearing");
    EXPECT_EQ(1, list_count(list_));
}

TEST_F(Log, IsTrimmedToWholeLinesWhenItHasGrownTooLarge)
{
    const std::string log = path(LOG);
    set("MINSIZE=1\nMAXSIZE=2\n");
    const std::string line = "a line of the log\r\n\r\nx\r\n";
    put_log(2 * MEGABYTE, line);
    EXPECT_EQ(0, trim_log_file(log.c_str())); // exactly the limit
    put_log(2 * MEGABYTE + 1, line);
    chmod(log.c_str(), 0604);
    EXPECT_EQ(1, trim_log_file(log.c_str()));
    const std::string kept = content(LOG);
    EXPECT_LE(kept.size(), MEGABYTE);
    EXPECT_GT(kept.size(), MEGABYTE * 19 / 24 - 100);
    std::string expected; // the short lines are left out, x with its CR LF is not
    while (expected.size() < kept.size()) {
        expected += "a line of the log\r\nx\r\n";
    }
    EXPECT_EQ(expected.substr(expected.size() - kept.size()), kept);
    EXPECT_TRUE(kept.starts_with("a line of") || kept.starts_with("x\r\n"));
    EXPECT_EQ(static_cast<fs::perms>(0604), fs::status(log).permissions());
    EXPECT_EQ(std::vector<std::string>{}, files("LOG"));

    // Nothing sound to keep, or nowhere to put it: left as it is.
    set("MINSIZE=4\nMAXSIZE=2\n");
    put_log(3 * MEGABYTE, line);
    EXPECT_EQ(0, trim_log_file(log.c_str()));
    set("MINSIZE=1\nMAXSIZE=2\n");
    fs::remove(path("LOG"));
    EXPECT_EQ(0, trim_log_file(log.c_str()));
    EXPECT_EQ(3 * MEGABYTE, fs::file_size(log));
    fs::create_directory(path("LOG"));
    fs::rename(log, path("elsewhere"));
    EXPECT_EQ(0, trim_log_file(log.c_str()));
    fs::create_symlink(path("elsewhere"), log);
    EXPECT_EQ(1, trim_log_file(log.c_str()));
    EXPECT_TRUE(fs::is_symlink(log));
    EXPECT_LE(fs::file_size(path("elsewhere")), MEGABYTE);
}

TEST_F(Log, ItsSizeIsLookedAtOnEvery501stWrite)
{
    set("MINSIZE=0\nMAXSIZE=1\n");
    const auto is_trimmed_by = [this](const std::string &text) {
        writes(text);
        return fs::file_size(path(LOG)) < MEGABYTE &&
               content(LOG) == MARKER + text + "\r\n";
    };
    put_log(MEGABYTE + 1, "a line\r\n");
    int writes_before = 0; // others of this process may have counted
    while (writes_before < 501 && !is_trimmed_by("1st")) {
        writes_before++;
    }
    ASSERT_LT(writes_before, 501);
    for (int i = 1; i <= 500; i++) {
        ASSERT_FALSE(is_trimmed_by("not yet"));
        if (i == 499) {
            put_log(MEGABYTE + 1, "a line\r\n");
        }
    }
    EXPECT_TRUE(is_trimmed_by("501st"));
    EXPECT_EQ(69U, MARKER.size());
}

// --- A running server's log

TEST_F(Installation, LogLinesCarryTheZonesTimeInEnglish)
{
    start({"env", "TZ=XST-5:30", "LC_ALL=de_DE.UTF-8", "LANGUAGE=de"});
    const time_t now = time(nullptr);
    greeted().leaves();
    ASSERT_TRUE(logs("All active sessions closed"));
    const std::string log = content(LOG);
    const size_t behind = log.rfind(" SMTP: [127.0.0.1] All active");
    const std::string stamp = log.substr(behind - 23, 23);
    bool found = false;
    for (time_t second = now - 1; second < now + 6; second++) {
        const time_t there = second + 19800;
        char expected[64];
        strftime(expected, sizeof expected, "%d %b, %Y %H:%M:%S :", gmtime(&there));
        found = found || stamp == expected;
    }
    EXPECT_TRUE(found) << stamp;
}

TEST_F(Installation, LogFileMayBeMovedCutOrDeletedAtAnyTime)
{
    settings("LOGONLY=0\n");
    start();
    Client client = greeted();
    fs::rename(path(LOG), path("LOGS/old"));
    EXPECT_EQ("250 OK\r\n", client.asks("MAIL FROM:<a@b.example>"));
    EXPECT_NE(std::string::npos, content(LOG).find("a@b.example"));
    EXPECT_EQ(std::string::npos, content("LOGS/old").find("a@b.example"));
    put(LOG, "");
    EXPECT_EQ("250 OK\r\n", client.asks("RCPT TO:<c@d.example>"));
    EXPECT_NE(std::string::npos, content(LOG).find("c@d.example"));
    EXPECT_FALSE(content(LOG).starts_with('\0'));
    fs::rename(path("LOGS"), path("AWAY"));
    EXPECT_EQ("250 OK\r\n", client.asks("RCPT TO:<lost@d.example>"));
    fs::rename(path("AWAY"), path("LOGS"));
    fs::remove(path(LOG));

    // The list goes on, but for the time that it is switched off.
    settings("LOGONLY=1\n");
    EXPECT_EQ("250 OK\r\n", client.asks("RCPT TO:<quiet@d.example>"));
    settings("LOGONLY=0\n");
    EXPECT_EQ("250 OK\r\n", client.asks("RCPT TO:<loud@d.example>"));
    EXPECT_NE(std::string::npos, content(LOG).find("quiet@d.example"));
    EXPECT_EQ(0, stop());
    const std::string shown = standard_output();
    for (const char *there : {"a@b.example", "c@d.example", "lost@d", "loud@d"}) {
        EXPECT_NE(std::string::npos, shown.find(there)) << there;
    }
    EXPECT_EQ(std::string::npos, shown.find("quiet@d"));
    EXPECT_EQ(std::string::npos, content(LOG).find("lost@d"));
    EXPECT_TRUE(shown.ends_with("SMTP: Server is being closed down\n"));
}
