// Start and end: settings stamped, lines logged, exit codes, what is left.

#include "installation.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <regex>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using Startup = Installation;

TEST_F(Startup, IsLoggedAndStampedIntoTheSettingsAlsoWhenItFails)
{
    const std::string port = std::to_string(port_);
    put(SETTINGS, "[QLNSMTP]\n; ours\nPort = " + port +
                      "\nVersion=0\nBIND=0\nSMTPTIMEOUT=5\nUSESAMEIPADDRESS=1\n"
                      "SocketTimeout=0\n[X]\nk=v\n");
    launch();
    EXPECT_TRUE(logs("SMTP: Inactivity timeout set"));
    EXPECT_EQ((Lines{"", "", "SMTP: Server operations started...", "SMTP: POSIX sockets",
                     "SMTP: Quillon email-to-fax SMTP mail server v2.61.00...",
                     "SMTP: Waiting for connection on port " + port + "...",
                     "SMTP: Inactivity timeout set to 5 seconds"}),
              log_lines());
    const std::regex stamped("\\[QLNSMTP]\n; ours\nPort = " + port +
                             "\nVersion=2\\.61\\.00\nBIND=0\nSMTPTIMEOUT=5\n"
                             "USESAMEIPADDRESS=1\nSocketTimeout=0\n"
                             "BUILDDATE=1 January,2005\nHWND=([1-9]\\d*)\nIPADDR=\n"
                             "\\[X]\nk=v\n");
    const std::string first = content(SETTINGS);
    EXPECT_TRUE(std::regex_match(first, stamped)) << first;
    EXPECT_TRUE(
        logs("SMTP: Server is listening on ALL available IP address(s) on port [" + port +
             "].."));

    forget_log();
    EXPECT_EQ(1, start_and_wait()); // the second copy
    const std::string reason =
        "Address 0.0.0.0, port " + port + ": Address already in use";
    EXPECT_EQ(
        "Quillon Email-to-Fax SMTP gateway: The Quillon SMTP server cannot be started at "
        "this time.\r\n\r\nIt is not able to open the configured TCP port, which "
        "means\r\n"
        "that there is probably another server already running on this\r\nmachine that "
        "uses the same port.\r\n\r\nYou can change the port used by this server from "
        "the\r\nSMTP server tab of the Email-to-Fax menu option in the\r\nFax Server \n" +
            reason + "\n",
        content("stderr"));
    EXPECT_EQ((Lines{"", "", "SMTP: Server operations started...", "SMTP: POSIX sockets",
                     "SMTP: Error - Unable to create named socket", "SMTP: " + reason}),
              log_lines());
    const std::string second = content(SETTINGS);
    EXPECT_TRUE(std::regex_match(second, stamped) && second != first) << second;

    // The journal gets priorities, and no time stamp of ours.
    EXPECT_EQ(1, start_and_wait({"sh", "-c",
                                 "exec 2>&1; JOURNAL_STREAM=$(stat -Lc %d:%i "
                                 "/proc/self/fd/2) exec \"$0\""}));
    const std::string said = content("stdout");
    EXPECT_EQ(0U, said.find("<3>Quillon Email-to-Fax SMTP gateway: The Quillon SMTP "
                            "server cannot be started at this time. It is not able"));
    EXPECT_NE(std::string::npos,
              said.find(" Address already in use\n<6>SMTP: Server operations started..."
                        "\n<6>SMTP: POSIX sockets\n<3>SMTP: Error - Unable to create"));
    greeted().leaves(); // the first copy serves on
}

TEST_F(Startup, SettingsThatCannotBeReadEndItWithTheReason)
{
    const std::string told =
        "Quillon Email-to-Fax SMTP gateway: The settings file cannot be read: ";
    for (const std::string text : {"\xFF\xFE[\0Q\0", "\xFE\xFF\0["}) {
        put(SETTINGS, text);
        EXPECT_EQ(1, start_and_wait());
        EXPECT_EQ(told + "it is in UTF-16\n", content("stderr"));
        EXPECT_EQ(text, content(SETTINGS));
    }
    fs::remove(SETTINGS);
    mkfifo(SETTINGS, 0600);
    EXPECT_EQ(1, start_and_wait());
    EXPECT_EQ(told + "it is not a plain file\n", content("stderr"));
}

TEST_F(Startup, EverySignalOfTheEndClosesDownUnlessItWasIgnoredBefore)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        if (signal == SIGTERM) { // which is never ignored
            start({"sh", "-c", "trap \"\" HUP INT TERM; exec \"$0\""});
            kill(process_, SIGHUP);
            kill(process_, SIGINT);
        } else {
            start();
        }
        Client client = with_recipient();
        client.asks("DATA");
        EXPECT_EQ(0, stop(signal)) << signal;
        EXPECT_TRUE(client.is_closed());
        EXPECT_EQ("SMTP: Server is being closed down", log_lines().back());
        EXPECT_EQ(0, times_logged("disconnected"));
        EXPECT_EQ(2U, files().size()); // left where they are
        empty_spool();
        // Everything the list showed, and nothing else.
        const std::string all = content(LOG);
        std::string shown = all.substr(all.rfind("\r\n\r\n") + 4);
        std::erase(shown, '\r');
        EXPECT_EQ(shown, content("stdout"));
        EXPECT_EQ("", content("stderr"));
    }
}

TEST_F(Startup, AnInstallationInSmallLettersIsServedFromAnywhereAsItStands)
{
    ASSERT_EQ(
        0, system("cd DATA && mv RAW/QLNXSERVER.DAT RAW/qlnxserver.dat && mv RAW raw && "
                  "cd .. && mv DATA data && mv LOGS logs && mv qlnemails QlnEmails"));
    put("logs/qlnsmtp.txt", "old\r\n");
    launch({"sh", "-c", "cd / && exec \"$0\" " + path("")});
    ASSERT_TRUE(comes_true([this] { return greets(); }));
    for (int found_and_remembered = 0; found_and_remembered < 2; found_and_remembered++) {
        EXPECT_EQ(OK, with_recipient().delivers("x\r\n"));
    }
    EXPECT_EQ(0, stop());
    EXPECT_EQ(2 * 2U, files("QlnEmails").size());
    EXPECT_EQ((Lines{"LOG", "QlnEmails", "data", "logs", "mailin", "pending", "stderr",
                     "stdout"}),
              files(""));
    EXPECT_EQ(Lines{"qlnxserver.dat"}, files("data/raw"));
    EXPECT_EQ(Lines{"qlnsmtp.txt"}, files("logs"));
    EXPECT_TRUE(content("logs/qlnsmtp.txt").starts_with("old\r\n\r\n\r\n"));
}

TEST_F(Startup, TellsItsVersionAndRefusesOtherWords)
{
    const struct {
        std::string command, says;
        int code;
    } lines[] = {
        {QLNSMTPD " --version", "qlnsmtpd (Quillon SMTP server) 2.61.00\n", 0},
        {QLNSMTPD " --help", "Usage: qlnsmtpd [OPTION]... [DIRECTORY]\n", 0},
        {QLNSMTPD " --port=25", "unrecognized option '--port=25'\n", 2},
        {QLNSMTPD " . ..", "not '..' as well\nTry 'qlnsmtpd --help'", 2},
        {QLNSMTP_CHECK, "which installation directory?\n", 2},
        {QLNSMTPD " ''", "cannot enter '': No such file or directory\n", 1},
    };
    for (const auto &[command, says, code] : lines) {
        const int status = system((command + " >said 2>&1").c_str());
        EXPECT_EQ(code, WEXITSTATUS(status)) << command;
        EXPECT_NE(std::string::npos, content("said").find(says)) << content("said");
    }
}

TEST_F(Startup, TheServiceManagerHearsOfReadinessOfLifeAndOfTheEnd)
{
    const int manager = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{AF_UNIX, ""};
    "manager"s.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(0, bind(manager, reinterpret_cast<sockaddr *>(&address), sizeof address));
    const timeval wait{5, 0};
    setsockopt(manager, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    const auto told = [manager] {
        char bytes[256];
        const ssize_t size = recv(manager, bytes, sizeof bytes, 0);
        return size < 0 ? "nothing" : std::string(bytes, static_cast<size_t>(size));
    };
    settings("SocketTimeout=0\r\n"); // no timer wakes the loop
    const std::string variable = "NOTIFY_SOCKET=" + path("manager");
    const std::string place = " on [ALL ADDRESSES], port [" + std::to_string(port_) + "]";
    start({"env", variable});
    EXPECT_EQ(1, start_and_wait({"env", variable}));
    EXPECT_EQ(0, stop());
    EXPECT_EQ("READY=1\nSTATUS=Listening" + place, told());
    EXPECT_EQ("STATUS=Cannot listen" + place + "\nERRNO=" + std::to_string(EADDRINUSE),
              told());
    EXPECT_EQ("STOPPING=1", told());

    launch({"env", variable, "WATCHDOG_USEC=400000"});
    EXPECT_TRUE(told().starts_with("READY=1"));
    for (int i = 0; i < 4; i++) {
        EXPECT_EQ("WATCHDOG=1", told());
    }
    EXPECT_EQ(0, stop());
    close(manager);
}
