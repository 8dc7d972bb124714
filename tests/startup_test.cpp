// Start and end: settings stamped, lines logged, exit codes, what is left behind.

#include "installation.h"

#include <csignal>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace
{

constexpr char SETTINGS_FILE[] = "DATA/RAW/QLNXSERVER.DAT";

void pause_for(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace

class Startup : public Installation
{
  protected:
    std::string port_text() const
    {
        return std::to_string(port_);
    }
    // A settings file of these lines alone.
    void put_settings(const std::string &lines)
    {
        put(SETTINGS_FILE, "[QLNSMTP]\n" + lines);
    }
    // Starts until it serves, and gives the lines logged so far.
    Lines start_lines()
    {
        launch();
        EXPECT_TRUE(logs("SMTP: Waiting for connection on port"));
        pause_for(50);
        return log_lines();
    }
    std::string setting(const std::string &key) const
    {
        const std::string text = content(SETTINGS_FILE);
        const size_t at = text.find(key + "=");
        const size_t begin = at + key.size() + 1;
        return at == std::string::npos
                   ? "-"
                   : text.substr(begin, text.find_first_of("\r\n", begin) - begin);
    }
};

TEST_F(Startup, IsLoggedAndStampedIntoTheSettings)
{
    put_settings("; ours\nPort = " + port_text() +
                 "\nVersion=0\nBIND=0\nSMTPTIMEOUT=5\n[X]\nk=v\n");
    EXPECT_EQ((Lines{"", "", "SMTP: Server operations started...", "SMTP: POSIX sockets",
                     "SMTP: Quillon email-to-fax SMTP mail server v2.61.00...",
                     "SMTP: Waiting for connection on port " + port_text() + "...",
                     "SMTP: Inactivity timeout set to 5 seconds",
                     "SMTP: Socket timeout set to 60 seconds"}),
              start_lines());
    const std::string first = setting("HWND");
    EXPECT_NE(0, atol(first.c_str())) << first;
    EXPECT_EQ("[QLNSMTP]\n; ours\nPort = " + port_text() +
                  "\nVersion=2.61.00\nBIND=0\nSMTPTIMEOUT=5\nBUILDDATE=1 January,2005\n"
                  "HWND=" +
                  first + "\n[X]\nk=v\n",
              content(SETTINGS_FILE));
    EXPECT_TRUE(
        logs("SMTP: Server is listening on ALL available IP address(s) on port [" +
             port_text() + "].."));
    EXPECT_EQ(0, stop());
    forget_log();
    start_lines();
    EXPECT_NE(first, setting("HWND"));
}

TEST_F(Startup, WithBothTimeOutsZeroNoTimerRuns)
{
    settings("SocketTimeout=0\nSmtpTimeout=0\n");
    const size_t lines = start_lines().size();
    EXPECT_EQ(6U, lines);
    Client client = greeted();
    const size_t later = log_lines().size();
    pause_for(2200);
    EXPECT_EQ(later, log_lines().size()); // no first tick
}

TEST_F(Startup, ReadsPortsAndAddressesAsNumbersAndTextsAre)
{
    const struct {
        const char *lines, *logged, *address;
    } cases[] = {
        {"port=abc\nbind=0\n", "port 0...", "-"},
        {"port= +0x19\nbind=0\nUSESAMEIPADDRESS=1\n", "port 0...", ""},
        {"port=0\nbind=0\nUSESAMEIPADDRESS=1\nipaddr= 10.1.1.1 \n", "port 0...", "-"},
    };
    for (const auto &one : cases) {
        put_settings(one.lines);
        forget_log();
        launch();
        EXPECT_TRUE(logs(std::string("SMTP: Waiting for connection on ") + one.logged))
            << one.lines;
        EXPECT_EQ(one.address, setting("IPADDR")) << one.lines;
        EXPECT_EQ(0, stop());
    }
}

TEST_F(Startup, AFailedStartSaysWhyAndStampsTheSettingsAllTheSame)
{
    start();
    const std::string box =
        "Quillon Email-to-Fax SMTP gateway: The Quillon SMTP server cannot be started at "
        "this time.\r\n\r\nIt is not able to open the configured TCP port, which "
        "means\r\n"
        "that there is probably another server already running on this\r\nmachine that "
        "uses the same port.\r\n\r\nYou can change the port used by this server from "
        "the\r\nSMTP server tab of the Email-to-Fax menu option in the\r\nFax Server \n";
    const std::string handle = setting("HWND");
    forget_log();
    EXPECT_EQ(1, start_and_wait()); // the second copy
    EXPECT_EQ(box, standard_error());
    EXPECT_EQ((Lines{"", "", "SMTP: Server operations started...", "SMTP: POSIX sockets",
                     "SMTP: Error - Unable to create named socket"}),
              log_lines());
    const std::string shown = standard_output();
    EXPECT_EQ(3, std::count(shown.begin(), shown.end(), '\n'));
    EXPECT_NE(handle, setting("HWND"));
    EXPECT_EQ("2.61.00", setting("VERSION"));
    greeted().leaves(); // the first copy serves on
}

TEST_F(Startup, EverySignalOfTheEndClosesDown)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        start();
        Client idle = connect_from();
        Client client = with_recipient();
        EXPECT_TRUE(client.asks("DATA").starts_with("354 "));
        EXPECT_TRUE(client.says("half a mess"));
        pause_for(20);
        const size_t unfinished = files().size();
        EXPECT_EQ(0, stop(signal)) << signal;
        EXPECT_TRUE(client.is_closed());
        EXPECT_TRUE(idle.hears().starts_with("220 "));
        EXPECT_TRUE(idle.is_closed());
        EXPECT_EQ("SMTP: Server is being closed down", log_lines().back());
        for (const std::string &line : log_lines()) {
            EXPECT_EQ(std::string::npos, line.find("disconnected")) << line;
        }
        EXPECT_EQ(unfinished, files().size()); // left where they are
        // Everything the list showed, and nothing else.
        const std::string all = content("LOGS/QLNSMTP.TXT");
        std::string shown;
        std::istringstream from(all.substr(all.rfind("\r\n\r\n") + 4));
        for (std::string line; std::getline(from, line);) {
            shown += line.substr(0, line.find('\r')) + "\n";
        }
        EXPECT_EQ(shown, standard_output());
        EXPECT_EQ("", standard_error());
        forget_log();
    }
}

TEST_F(Startup, ASignalDuringTheStartEndsItAfterwards)
{
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, SIGTERM);
    sigprocmask(SIG_BLOCK, &end, nullptr); // it waits until the program can take it
    for (int wait = 0; wait < 12; wait += 2) {
        launch();
        pause_for(wait);
        EXPECT_EQ(0, stop()) << wait;
        EXPECT_EQ("SMTP: Server is being closed down", log_lines().back());
    }
    sigprocmask(SIG_UNBLOCK, &end, nullptr);
}

TEST_F(Startup, AnInstallationInSmallLettersIsServedAsItStands)
{
    const Lines names = {"DATA/RAW/QLNXSERVER.DAT", "DATA/RAW", "DATA", "LOGS", "LOG"};
    for (const std::string &name : names) {
        std::string last = fs::path(name).filename();
        std::transform(last.begin(), last.end(), last.begin(), tolower);
        fs::rename(path(name), fs::path(path(name)).replace_filename(last));
    }
    fs::rename(path("qlnemails"), path("QlnEmails"));
    fs::rename(path("pending"), path("Pending"));
    put("logs/qlnsmtp.txt", "old\r\n");
    launch();
    for (int i = 0; i < 200 && connect_from().socket() < 0; i++) {
        pause_for(10);
    }
    Client client = with_recipient();
    EXPECT_TRUE(client.asks("DATA").starts_with("354 "));
    EXPECT_EQ("250 OK\r\n", client.asks("x\r\n."));
    EXPECT_EQ(0, stop());
    EXPECT_EQ(2U, files("QlnEmails").size());
    EXPECT_EQ((Lines{"Pending", "QlnEmails", "data", "log", "logs", "mailin"}),
              files(""));
    EXPECT_EQ(Lines{"qlnxserver.dat"}, files("data/raw"));
    EXPECT_EQ(Lines{"qlnsmtp.txt"}, files("logs"));
    EXPECT_TRUE(content("logs/qlnsmtp.txt").starts_with("old\r\n\r\n\r\n"));
}

TEST_F(Startup, AWorkingDirectoryMayHaveALongName)
{
    for (const size_t length : {255U, 300U}) {
        const size_t rest = length - path("d").size() - 1;
        const std::string deep = "d/" + std::string(rest / 2, 'e') + "/" +
                                 std::string(rest - rest / 2 - 1, 'f');
        ASSERT_EQ(length, path(deep).size());
        fs::create_directories(path(deep + "/DATA/RAW"));
        fs::create_directory(path(deep + "/LOGS"));
        fs::copy(path(SETTINGS_FILE), path(deep + "/" + SETTINGS_FILE));
        launch({"sh", "-c", "cd \"$0\" && exec \"$1\"", deep});
        for (int i = 0; i < 200 && connect_from().socket() < 0; i++) {
            pause_for(10);
        }
        EXPECT_TRUE(connect_from().hears().starts_with("220 ")) << length;
        EXPECT_EQ(0, stop());
        EXPECT_NE(std::string::npos, content(deep + "/" + SETTINGS_FILE).find("HWND="));
        EXPECT_TRUE(content(deep + "/LOGS/QLNSMTP.TXT").ends_with("closed down\r\n"));
    }
}
