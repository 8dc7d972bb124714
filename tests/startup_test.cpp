// Start and end: settings stamped, lines logged, exit codes, what is left behind.

#include "installation.h"

#include <cerrno>
#include <csignal>
#include <cstddef>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include <sys/socket.h>
#include <sys/un.h>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

class Startup : public Installation
{
  protected:
    std::string handle_in_settings() const
    {
        const std::string text = content("DATA/RAW/QLNXSERVER.DAT");
        const size_t begin = text.find("HWND=") + 5;
        return text.substr(begin, text.find_first_of("\r\n", begin) - begin);
    }
};

TEST_F(Startup, IsLoggedAndStampedIntoTheSettings)
{
    const std::string port = std::to_string(port_);
    put("DATA/RAW/QLNXSERVER.DAT", "[QLNSMTP]\n; ours\nPort = " + port +
                                       "\nVersion=0\nBIND=0\nSMTPTIMEOUT=5\n"
                                       "USESAMEIPADDRESS=1\nSocketTimeout=0\n[X]\nk=v\n");
    launch();
    EXPECT_TRUE(logs("SMTP: Inactivity timeout set"));
    EXPECT_EQ((Lines{"", "", "SMTP: Server operations started...", "SMTP: POSIX sockets",
                     "SMTP: Quillon email-to-fax SMTP mail server v2.61.00...",
                     "SMTP: Waiting for connection on port " + port + "...",
                     "SMTP: Inactivity timeout set to 5 seconds"}),
              log_lines());
    const std::string handle = handle_in_settings();
    EXPECT_NE(0, atol(handle.c_str())) << handle;
    EXPECT_EQ("[QLNSMTP]\n; ours\nPort = " + port +
                  "\nVersion=2.61.00\nBIND=0\nSMTPTIMEOUT=5\nUSESAMEIPADDRESS=1\n"
                  "SocketTimeout=0\nBUILDDATE=1 January,2005\nHWND=" +
                  handle + "\nIPADDR=\n[X]\nk=v\n",
              content("DATA/RAW/QLNXSERVER.DAT"));
    EXPECT_TRUE(
        logs("SMTP: Server is listening on ALL available IP address(s) on port [" + port +
             "].."));
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
    const std::string handle = handle_in_settings();
    EXPECT_EQ(1, start_and_wait()); // the second copy
    const std::string reason =
        "Address 0.0.0.0, port " + std::to_string(port_) + ": Address already in use";
    EXPECT_EQ(box + reason + "\n", content("stderr"));
    EXPECT_EQ((Lines{"", "", "SMTP: Server operations started...", "SMTP: POSIX sockets",
                     "SMTP: Error - Unable to create named socket", "SMTP: " + reason}),
              log_lines());
    EXPECT_NE(handle, handle_in_settings());
    greeted().leaves(); // the first copy serves on
}

TEST_F(Startup, SettingsThatCannotBeReadEndItWithTheReason)
{
    constexpr char SETTINGS[] = "DATA/RAW/QLNXSERVER.DAT";
    const std::string told =
        "Quillon Email-to-Fax SMTP gateway: The settings file cannot be "
        "read: ";
    for (const std::string text : {"\xFF\xFE[\0Q\0", "\xFE\xFF\0["}) {
        put(SETTINGS, text);
        EXPECT_EQ(1, start_and_wait());
        EXPECT_EQ(told + "it is in UTF-16\n", content("stderr"));
        EXPECT_EQ(text, content(SETTINGS));
    }
    fs::remove(path(SETTINGS));
    mkfifo(path(SETTINGS).c_str(), 0600);
    EXPECT_EQ(1, start_and_wait());
    EXPECT_EQ(told + "it is not a plain file\n", content("stderr"));
}

TEST_F(Startup, EverySignalOfTheEndClosesDown)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        start();
        Client client = with_recipient();
        client.asks("DATA");
        client.says("half a mess");
        sleep_ms(20);
        const size_t unfinished = files().size();
        EXPECT_EQ(0, stop(signal)) << signal;
        EXPECT_TRUE(client.is_closed());
        EXPECT_EQ("SMTP: Server is being closed down", log_lines().back());
        EXPECT_EQ(0, times_logged("disconnected"));
        EXPECT_EQ(unfinished, files().size()); // left where they are
        // Everything the list showed, and nothing else.
        const std::string all = content("LOGS/QLNSMTP.TXT");
        std::string shown = all.substr(all.rfind("\r\n\r\n") + 4);
        shown.erase(std::remove(shown.begin(), shown.end(), '\r'), shown.end());
        EXPECT_EQ(shown, content("stdout"));
        EXPECT_EQ("", content("stderr"));
    }
}

TEST_F(Startup, ASignalThatWasIgnoredStaysIgnored)
{
    start({"sh", "-c", "trap \"\" HUP INT TERM; exec \"$0\""});
    kill(process(), SIGHUP);
    kill(process(), SIGINT);
    sleep_ms(50);
    greeted().leaves();
    EXPECT_EQ(0, stop(SIGTERM)); // always ends it
}

TEST_F(Startup, AnInstallationInSmallLettersIsServedAsItStands)
{
    const char *const names[][2] = {
        {"DATA/RAW/QLNXSERVER.DAT", "DATA/RAW/qlnxserver.dat"},
        {"DATA/RAW", "DATA/raw"},
        {"DATA", "data"},
        {"LOGS", "logs"},
        {"qlnemails", "QlnEmails"}};
    for (const auto &[old_name, name] : names) {
        fs::rename(path(old_name), path(name));
    }
    put("logs/qlnsmtp.txt", "old\r\n");
    launch();
    ASSERT_TRUE(comes_true([this] { return connect_from().socket() >= 0; }));
    Client client = with_recipient();
    client.asks("DATA");
    EXPECT_EQ("250 OK\r\n", client.asks("x\r\n."));
    EXPECT_EQ(0, stop());
    EXPECT_EQ(2U, files("QlnEmails").size());
    EXPECT_EQ((Lines{"LOG", "QlnEmails", "data", "logs", "mailin", "pending", "stderr",
                     "stdout"}),
              files(""));
    EXPECT_EQ(Lines{"qlnxserver.dat"}, files("data/raw"));
    EXPECT_EQ(Lines{"qlnsmtp.txt"}, files("logs"));
    EXPECT_TRUE(content("logs/qlnsmtp.txt").starts_with("old\r\n\r\n\r\n"));
}

TEST_F(Startup, ServesTheDirectoryOfItsCommandLineAndRefusesOtherWords)
{
    const struct {
        std::string command, says;
        int code;
    } lines[] = {
        {QLNSMTPD " --version", "qlnsmtpd (Quillon SMTP server) 2.61.00\n", 0},
        {QLNSMTP_CHECK " -V", "qlnsmtp-check (Quillon SMTP server) 2.61.00\n", 0},
        {QLNSMTPD " --help", "Usage: qlnsmtpd [OPTION]... [DIRECTORY]\n", 0},
        {QLNSMTPD " --port=25", "unrecognized option '--port=25'\n", 2},
        {QLNSMTPD " . ..", "not '..' as well\nTry 'qlnsmtpd --help'", 2},
        {QLNSMTP_CHECK " -x .", "invalid option -- 'x'\n", 2},
        {QLNSMTP_CHECK, "which installation directory?\n", 2},
        {QLNSMTPD " ''", "cannot enter '': No such file or directory\n", 1},
    };
    for (const auto &[command, says, code] : lines) {
        const int status = system((command + " >" + path("said") + " 2>&1").c_str());
        EXPECT_EQ(code, WEXITSTATUS(status)) << command;
        EXPECT_NE(std::string::npos, content("said").find(says)) << content("said");
    }
    start({"sh", "-c", "cd / && exec \"$0\" " + path("")});
    EXPECT_EQ(0, stop());
}

// What stands in for the service manager: it waits for datagrams.
class Manager
{
  public:
    explicit Manager(const std::string &path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        const timeval wait{5, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        EXPECT_EQ(0,
                  bind(socket_, reinterpret_cast<sockaddr *>(&address), sizeof address));
    }
    ~Manager()
    {
        close(socket_);
    }
    std::string hears() const
    {
        char bytes[256];
        const ssize_t size = recv(socket_, bytes, sizeof bytes, 0);
        return size < 0 ? "nothing" : std::string(bytes, static_cast<size_t>(size));
    }

  private:
    int socket_ = socket(AF_UNIX, SOCK_DGRAM, 0);
};

TEST_F(Startup, TheServiceManagerHearsOfReadinessOfLifeAndOfTheEnd)
{
    settings("SocketTimeout=0\r\n"); // no timer wakes the loop
    const Manager manager(path("manager"));
    const std::string address = "NOTIFY_SOCKET=" + path("manager");
    start({"env", address});
    EXPECT_EQ(0, stop());
    EXPECT_EQ("READY=1\nSTATUS=Listening on [ALL ADDRESSES], port [" +
                  std::to_string(port_) + "]",
              manager.hears());
    EXPECT_EQ("STOPPING=1", manager.hears());

    launch({"env", address, "WATCHDOG_USEC=400000"});
    EXPECT_TRUE(manager.hears().starts_with("READY=1"));
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ("WATCHDOG=1", manager.hears());
    }
    EXPECT_EQ(1, start_and_wait({"env", address}));
    std::string failure = manager.hears();
    while (failure == "WATCHDOG=1") { // of the first copy
        failure = manager.hears();
    }
    EXPECT_EQ("STATUS=Cannot listen on [ALL ADDRESSES], port [" + std::to_string(port_) +
                  "]\nERRNO=" + std::to_string(EADDRINUSE),
              failure);
    EXPECT_EQ(0, stop());
}

TEST_F(Startup, TheJournalGetsPrioritiesAndNoTimeStampOfOurs)
{
    start();
    EXPECT_EQ(1, start_and_wait({"sh", "-c",
                                 "exec 2>&1; JOURNAL_STREAM=$(stat -Lc %d:%i "
                                 "/proc/self/fd/2) exec \"$0\""}));
    const std::string said = content("stdout");
    EXPECT_EQ(0U, said.find("<3>Quillon Email-to-Fax SMTP gateway: The Quillon SMTP "
                            "server cannot be started at this time. It is not able"));
    EXPECT_NE(std::string::npos,
              said.find(" Address already in use\n<6>SMTP: Server "
                        "operations started...\n<6>SMTP: POSIX sockets\n"
                        "<3>SMTP: Error - Unable to create"));
}
