// The one-second timer: idle connections, and settings read again every sixth tick.

#include "installation.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

namespace
{

constexpr char SETTINGS_FILE[] = "DATA/RAW/QLNXSERVER.DAT";
constexpr int SWEEP = 7500; // milliseconds until a sweep has certainly been

void pause_for(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace

class Timer : public Installation
{
  protected:
    long times_logged(const std::string &part)
    {
        const Lines lines = log_lines();
        return std::count_if(lines.begin(), lines.end(),
                             [&part](const std::string &line) {
                                 return line.find(part) != std::string::npos;
                             });
    }
};

TEST_F(Timer, IdleConnectionsAreClosedInOneSweepAndBusyOnesAreNot)
{
    settings("SocketTimeout=2\nFULLDETAIL=1\n");
    start();
    Client silent = connect_from("127.0.0.11");
    Client talker = greeted("127.0.0.12"); // commands such as NOOP do not count
    Client writer = with_recipient("127.0.0.13");
    EXPECT_TRUE(writer.asks("DATA").starts_with("354 "));
    EXPECT_TRUE(writer.says("half a message\r\n"));
    Client busy = with_recipient("127.0.0.14");
    EXPECT_TRUE(busy.asks("DATA").starts_with("354 "));

    const auto begin = Clock::now();
    while (!silent.is_closed(1) && Clock::now() - begin < std::chrono::seconds(8)) {
        talker.says("NOOP\r\n");
        EXPECT_TRUE(busy.says("a line\r\n"));
        silent.hears_within(300);
    }
    for (const char *from : {"11", "12", "13"}) {
        EXPECT_TRUE(logs(std::string("SMTP: [127.0.0.") + from +
                         "] Socket timeout expired - closing socket"));
    }
    talker.hears_within(100);
    EXPECT_TRUE(talker.is_closed());
    EXPECT_TRUE(writer.is_closed());
    EXPECT_EQ("250 OK\r\n", busy.asks("."));
    EXPECT_TRUE(logs("SMTP: [1] connection is still active"));
    EXPECT_EQ(0, times_logged("127.0.0.14] Socket timeout"));
    EXPECT_EQ(1, times_logged("Server is listening on ALL available IP address(s)"));
    EXPECT_EQ(2U, files().size()); // those of the message stored
    const Lines lines = log_lines();
    const auto expired =
        std::find(lines.begin(), lines.end(),
                  "SMTP: [127.0.0.11] Socket timeout expired - closing socket");
    ASSERT_GE(lines.end() - expired, 4);
    EXPECT_EQ((Lines{"SMTP: [127.0.0.11] disconnected",
                     "SMTP: [3] connections are still active", "<>"}),
              Lines(expired + 1, expired + 4));
}

TEST_F(Timer, SettingsAreReadAgainUntilTheTimeOutIsSwitchedOff)
{
    start();
    pause_for(1200); // the first tick takes up what it finds without a word
    const std::string other = std::to_string(port_ + 1);
    // Replaced by rename, as a careful writer does.
    put("DATA/RAW/new", "[QLNSMTP]\nport= " + other + "x\nbind=0\nSocketTimeout=0\n");
    std::filesystem::rename(path("DATA/RAW/new"), path(SETTINGS_FILE));
    ASSERT_TRUE(logs("SMTP: SMTP connections port RESET to Port " + other + " ", SWEEP));
    EXPECT_TRUE(logs("SMTP: Socket timeout RESET to 0 second"));
    EXPECT_EQ(1, times_logged("RESET to Port"));
    greeted().leaves(); // on the port it was started with

    settings("SocketTimeout=1\n");
    pause_for(SWEEP);
    EXPECT_EQ(2, times_logged("RESET to"));
}

TEST_F(Timer, AVanishedSettingsFileGivesTheDefaults)
{
    put(SETTINGS_FILE, "[QLNSMTP]\nport=" + std::to_string(port_) +
                           "\nIPADDR=127.0.0.1\nSocketTimeout=7\n");
    start();
    pause_for(1200);
    ASSERT_EQ(0, std::remove(path(SETTINGS_FILE).c_str()));
    ASSERT_TRUE(logs("SMTP: SMTP connections port RESET to Port 25 ", SWEEP));
    EXPECT_TRUE(logs("SMTP: Socket timeout RESET to 60 second"));
    EXPECT_FALSE(exists(SETTINGS_FILE));
}

TEST_F(Timer, APortThatComesWithAnotherBindIsTakenUpWithoutAWord)
{
    start();
    pause_for(1200);
    put(SETTINGS_FILE,
        "[QLNSMTP]\nport=" + std::to_string(port_ + 1) + "\nbind=1\nSocketTimeout=61\n");
    ASSERT_TRUE(logs("SMTP: Socket timeout RESET to 61 second", SWEEP));
    EXPECT_EQ(0, times_logged("RESET to Port"));
    EXPECT_EQ(0, times_logged("single selected IP address"));
}

TEST_F(Timer, ATickThatComesLateIsNotMadeUpFor)
{
    settings("SocketTimeout=2\n");
    start();
    Client client = connect_from();
    EXPECT_TRUE(client.hears().starts_with("220 "));
    kill(process(), SIGSTOP);
    pause_for(4000);
    kill(process(), SIGCONT);
    EXPECT_FALSE(logs("Socket timeout expired", 3000));
    EXPECT_TRUE(logs("Socket timeout expired", SWEEP));
}
