// The one-second timer: idle connections, and settings read again every sixth tick.

#include "installation.h"

#include <chrono>

using Timers = Installation;

TEST_F(Timers, EndIdleConnectionsInOneSweepAndReadTheSettingsAgain)
{
    using namespace std::chrono;
    const auto began = steady_clock::now();
    settings("SocketTimeout=2\n"); // so many whole seconds and one more
    const std::string other = std::to_string(port_ + 1);
    put("DATA/RAW/new", "[QLNSMTP]\nbind=0\nport= " + other + "x\nSocketTimeout=30\n");
    start();
    Client silent = connect_from("127.0.0.11");
    Client talker = greeted("127.0.0.12"); // commands such as NOOP do not count
    Client writer = with_recipient("127.0.0.13");
    writer.asks("DATA");
    writer.says("half a message\r\n");
    Client busy = with_recipient("127.0.0.14");
    busy.asks("DATA");
    Client mail = greeted();
    Client rcpt = greeted();
    rcpt.asks("MAIL FROM:<anna@firm.example>");
    Client data = with_recipient();
    EXPECT_TRUE(comes_true([this] { return files().size() == 6; }));

    bool renewed = false;
    for (int i = 0; i < 50 && !logs("Socket timeout expired", 150); i++) {
        talker.says("NOOP\r\n");
        busy.says("a line\r\n");
        // More than two seconds before the sweep, and less than three.
        if (!renewed && steady_clock::now() - began > 3300ms) {
            renewed = true;
            EXPECT_EQ(OK, mail.asks("MAIL FROM:<anna@firm.example>"));
            EXPECT_EQ(OK, rcpt.asks("RCPT TO:<fax@firm.example>"));
            EXPECT_EQ("354", data.asks("DATA").substr(0, 3));
            fs::rename("DATA/RAW/new", SETTINGS);
        }
    }
    EXPECT_TRUE(logs("SMTP: SMTP connections port RESET to Port " + other + " "));
    EXPECT_TRUE(logs("SMTP: Socket timeout RESET to 30 second"));
    EXPECT_EQ(3, times_logged("Socket timeout expired"));
    for (const std::string from : {"127.0.0.11", "127.0.0.12", "127.0.0.13"}) {
        EXPECT_TRUE(logs("[" + from + "] Socket timeout expired - closing socket"));
    }
    silent.hears();
    EXPECT_TRUE(silent.is_closed() && writer.is_closed());
    EXPECT_EQ(6U, files().size()); // of the messages that go on
    EXPECT_EQ(OK, busy.asks("."));
    greeted().leaves(); // on the port it was started with
    mail.leaves(), rcpt.leaves(), data.leaves();
    EXPECT_TRUE(logs("SMTP: [1] connection is still active"));
    EXPECT_TRUE(spooled(".txt").ends_with("a line\r\n"));
    const std::string log = content(LOG);
    EXPECT_NE(log.substr(log.find(" SMTP:") - 23, 23),
              log.substr(log.rfind(" SMTP:") - 23, 23));

    fs::remove(SETTINGS); // every setting has its default value
    EXPECT_TRUE(logs("SMTP: Socket timeout RESET to 60 second", 7500));
    EXPECT_FALSE(fs::exists(SETTINGS));
    EXPECT_GE(1, times_logged("Server is listening on")) << "at the first tick only";
}
