// The one-second timer: idle connections, and settings read again every sixth tick.

#include "installation.h"

#include <filesystem>

using namespace std::string_literals;

constexpr int SWEEP = 7500; // milliseconds until a sweep has certainly been

TEST_F(Installation, IdleConnectionsEndInOneSweepEvenInsideDataButItsBytesRenewTheTime)
{
    settings("SocketTimeout=2\n");
    start();
    Client silent = connect_from("127.0.0.11");
    Client talker = greeted("127.0.0.12"); // commands such as NOOP do not count
    Client writer = with_recipient("127.0.0.13");
    writer.asks("DATA");
    writer.says("half a message\r\n");
    Client busy = with_recipient("127.0.0.14");
    busy.asks("DATA");
    EXPECT_TRUE(comes_true([this] { return files().size() == 4; }));

    for (int i = 0; i < 50 && !logs("Socket timeout expired", 150); i++) {
        talker.says("NOOP\r\n");
        busy.says("a line\r\n");
    }
    EXPECT_TRUE(logs("SMTP: [3] connections are still active"));
    EXPECT_TRUE(logs("SMTP: [1] connection is still active"));
    for (const char *from : {"11", "12", "13"}) {
        EXPECT_TRUE(logs("SMTP: [127.0.0."s + from +
                         "] Socket timeout expired - closing socket"));
    }
    silent.hears();
    EXPECT_TRUE(silent.is_closed());
    EXPECT_TRUE(writer.is_closed());
    EXPECT_EQ(2U, files().size()); // those of the message that goes on
    EXPECT_EQ("250 OK\r\n", busy.asks("."));
    EXPECT_TRUE(spooled(".txt").ends_with("a line\r\n"));
}

TEST_F(Installation, SettingsAreReadAgainUntilTheTimeOutIsSwitchedOff)
{
    const std::string file = path("DATA/RAW/QLNXSERVER.DAT");
    put("DATA/RAW/QLNXSERVER.DAT",
        "[QLNSMTP]\nport=" + std::to_string(port_) + "\nIPADDR=127.0.0.1\n");
    start();
    sleep_ms(1200); // the first tick takes up what it finds without a word
    std::filesystem::remove(file);
    ASSERT_TRUE(logs("SMTP: SMTP connections port RESET to Port 25 ", SWEEP));
    EXPECT_FALSE(exists("DATA/RAW/QLNXSERVER.DAT"));

    const std::string other = std::to_string(port_ + 1);
    put("DATA/RAW/new", "[QLNSMTP]\nport= " + other + "x\nSocketTimeout=0\n");
    std::filesystem::rename(path("DATA/RAW/new"), file); // as a careful writer does
    ASSERT_TRUE(logs("SMTP: SMTP connections port RESET to Port " + other + " ", SWEEP));
    EXPECT_TRUE(logs("SMTP: Socket timeout RESET to 0 second"));
    greeted().leaves(); // on the port it was started with

    put("DATA/RAW/QLNXSERVER.DAT", "[QLNSMTP]\nSocketTimeout=1\n");
    sleep_ms(SWEEP);
    EXPECT_EQ(3, times_logged("RESET to"));
}
