// The listening socket: its address, a burst of clients, descriptors running out.

#include "installation.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>

#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>

constexpr char SETTINGS_FILE[] = "DATA/RAW/QLNXSERVER.DAT";

using Sockets = Installation;

// On a network of the test's own.
class ListenAddresses : public Installation
{
  protected:
    // Two interfaces that run, one whose cable is out and one that is down.
    void SetUp() override
    {
        home_ = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        if (unshare(CLONE_NEWNET) != 0) {
            GTEST_SKIP() << "no network of its own without the right to make one";
        }
        for (const char *words :
             {"link set lo up", "link add v0 type veth peer name v1",
              "link add w0 type veth peer name w1", "addr add 192.168.66.1/24 dev w0",
              "link set w0 up", "addr add 192.168.66.2/24 dev w1", "link set v0 up",
              "link set v1 up"}) {
            ip(words);
        }
    }
    void TearDown() override
    {
        EXPECT_EQ(0, setns(home_, CLONE_NEWNET));
        close(home_);
    }
    void ip(const std::string &words)
    {
        ASSERT_EQ(0, system(("ip " + words).c_str())) << words;
    }
    void set(const std::string &lines)
    {
        put(SETTINGS_FILE, "[QLNSMTP]\nport=" + std::to_string(port_) + "\n" + lines);
        forget_log();
    }

    // With these settings, the first tick reports the address, and these are served.
    void serves(const std::string &lines, const std::string &reported,
                const std::vector<std::string> &reachable)
    {
        SCOPED_TRACE(lines);
        set(lines);
        launch();
        const std::string on = reported.empty()
                                   ? "ALL available IP address(s)"
                                   : "single selected IP address of " + reported;
        EXPECT_TRUE(logs("SMTP: Server is listening on " + on + " on port [" +
                         std::to_string(port_) + "].."));
        std::vector<std::string> reached;
        for (const char *server :
             {"127.0.0.1", "127.0.0.5", "192.168.77.5", "192.168.77.6"}) {
            Client client = connect_from("0.0.0.0", server);
            if (client.socket() >= 0 && client.hears().starts_with("220 ")) {
                reached.emplace_back(server);
            }
        }
        EXPECT_EQ(reachable, reached);
        EXPECT_EQ(0, stop());
    }

    int home_ = -1;
};

// As the hosts file has it, or a resolver that does not answer.
TEST_F(ListenAddresses, AndTheOfficialNameAreTheHosts)
{
    put("hosts", "127.0.0.1 localhost\n127.0.1.1 fax1.example.com fax1\n");
    put("resolv.conf", "nameserver 127.0.0.9\n");
    const int resolver = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in silent{AF_INET, htons(53), {htonl(0x7F000009)}, {}};
    EXPECT_EQ(0, bind(resolver, reinterpret_cast<sockaddr *>(&silent), sizeof silent));
    for (const std::string name : {"fax1", "fax9"}) {
        const std::string own =
            "mount --bind hosts /etc/hosts && mount --bind resolv.conf "
            "/etc/resolv.conf && hostname " +
            name + " && exec \"$0\"";
        settings("");
        launch({"unshare", "-mu", "sh", "-c", own});
        EXPECT_TRUE(comes_true([&] { return connect_from().socket() >= 0; }, 4000));
        EXPECT_EQ("220 [" + name + (name == "fax1" ? ".example.com" : "") + "]",
                  connect_from().hears().substr(0, name == "fax1" ? 22 : 10));
        stop();
    }
    close(resolver);
}

TEST_F(ListenAddresses, AreChosenByTheSettingsAndTheHostsAddresses)
{
    serves("", "127.0.0.1", {"127.0.0.1"});
    serves("IPADDR=127.0.0.5\n[tcpip]\nUseSameIPAddress=1\n", "127.0.0.5", {"127.0.0.5"});

    ip("addr add 192.168.77.5/32 dev v1");
    serves("", "192.168.77.5", {"192.168.77.5"});
    serves("IPADDR=10.1.1.1\n", "192.168.77.5", {"192.168.77.5"});
    serves("IPADDR=127.0.0.1\n", "127.0.0.1", {"127.0.0.1"});

    ip("addr add 192.168.77.6/32 dev v0");
    // The report's default, although it listens on all of them.
    serves("", "127.0.0.1", {"127.0.0.1", "127.0.0.5", "192.168.77.5", "192.168.77.6"});
    serves("IPADDR=127.1\n", "127.0.0.1", {"127.0.0.1"}); // in its normal form
    for (const char *address : {"localhost", "255.255.255.255"}) {
        set("IPADDR=" + std::string(address) + "\n");
        EXPECT_EQ(1, start_and_wait()) << address;
        EXPECT_TRUE(logs("SMTP: Error - Unable to create named socket")) << address;
    }

    std::remove(path(SETTINGS_FILE).c_str());
    port_ = 25;
    start();
    EXPECT_TRUE(content("DATA/RAW/qlnxserver.dat")
                    .starts_with("[QLNSMTP]\r\nVERSION=2.61.00\r\n"
                                 "BUILDDATE=1 January,2005\r\nHWND="));
}

TEST_F(Sockets, ThePortIsFreeRightAfterAStopButNeverServedByTwo)
{
    for (int run = 0; run < 3; run++) {
        start();
        Client client = greeted();
        EXPECT_EQ(1, start_and_wait());
        EXPECT_EQ("250 OK\r\n", client.asks("NOOP"));
        EXPECT_EQ(0, stop()); // the server closes first: the port stays half used
        EXPECT_TRUE(client.is_closed());
    }
}

TEST_F(Sockets, ABurstIsGreetedWholeAfterAStopOfTheProcess)
{
    start();
    Client before = greeted();
    kill(process(), SIGSTOP); // everybody is there before the first is accepted
    std::vector<Client> clients;
    clients.reserve(400);
    for (int i = 0; i < 400; i++) {
        clients.push_back(connect_from());
    }
    kill(process(), SIGCONT);
    for (Client &client : clients) {
        ASSERT_TRUE(client.hears().starts_with("220 "));
        ASSERT_TRUE(client.asks("HELO pc").starts_with("250 "));
    }
    EXPECT_EQ("250 OK\r\n", before.asks("NOOP"));
    EXPECT_TRUE(logs("SMTP: [401] connections active"));

    kill(process(), SIGSTOP); // and all envelopes are named in the same few milliseconds
    for (Client &client : clients) {
        client.says("MAIL FROM:<a@b>\r\n");
    }
    kill(process(), SIGCONT);
    for (Client &client : clients) {
        ASSERT_EQ("250 OK\r\n", client.hears());
    }
    EXPECT_EQ(400U, files().size());
}

TEST_F(Sockets, WhoSendsThousandsOfCommandsAheadHoldsUpNobody)
{
    start();
    std::atomic<bool> enough = false;
    std::vector<std::future<bool>> floods;
    floods.reserve(6);
    for (int i = 0; i < 6; i++) {
        floods.push_back(std::async(std::launch::async, [&] {
            Client flooder = greeted("127.0.0.6");
            char replies[8 * 1000];
            ssize_t count = sizeof replies;
            while (!enough && count == sizeof replies) {
                flooder.says(copies(1000, "NOOP\r\n"));
                count = recv(flooder.socket(), replies, sizeof replies, MSG_WAITALL);
            }
            return count == sizeof replies;
        }));
    }
    Client client = greeted();
    sleep_ms(100);
    std::vector<double> times; // milliseconds
    for (int i = 0; i < 101; i++) {
        const auto began = std::chrono::steady_clock::now();
        client.says("NOOP\r\nNOOP\r\n"); // neither reply waits for the other's
        ASSERT_EQ("250 OK\r\n250 OK\r\n", client.hears() + client.hears());
        times.push_back(std::chrono::duration<double, std::milli>(
                            std::chrono::steady_clock::now() - began)
                            .count());
    }
    enough = true;
    for (std::future<bool> &flood : floods) {
        EXPECT_TRUE(flood.get());
    }
    std::sort(times.begin(), times.end());
    printf("NOOP beside floods: %.2f ms, %.2f at worst\n", times[50], times.back());
    EXPECT_LT(times[50], 2);
}

TEST_F(Sockets, ManyShortRepliesMayWaitForTheirReader)
{
    start();
    Client client = greeted();
    for (int i = 0; i < 40; i++) {
        client.says(copies(300, "NOOP\r\n"));
        sleep_ms(5);
        for (int reply = 0; reply < 300; reply++) {
            ASSERT_EQ("250 OK\r\n", client.hears()) << i;
        }
    }
}

TEST_F(Sockets, WhenDescriptorsRunOutTheRestWaits)
{
    constexpr size_t LIMIT = 32;
    const std::string broken = "SMTP: [] - Connection broken...";
    start({"prlimit", "--nofile=" + std::to_string(LIMIT)});
    for (int occurrence = 0; occurrence < 2; occurrence++) {
        std::vector<Client> clients;
        clients.reserve(LIMIT + 10);
        for (size_t i = 0; i < LIMIT + 10; i++) {
            clients.push_back(connect_from());
        }
        ASSERT_TRUE(logs(broken));
        size_t greeted = 0;
        while (greeted < clients.size() &&
               clients[greeted].hears(300).starts_with("220 ")) {
            greeted++;
        }
        ASSERT_GT(greeted, LIMIT / 3);
        ASSERT_LT(greeted, LIMIT);
        std::string reply; // of a session that goes on
        for (const char *line : {"HELO pc", "MAIL FROM:<a@b>", "DATA", "text\r\n."}) {
            reply = clients[0].asks(line);
        }
        EXPECT_EQ("250 OK\r\n", reply);
        // Each that leaves lets one in, at once.
        for (size_t i = greeted; i < clients.size(); i++) {
            clients[i - greeted].leaves();
            EXPECT_TRUE(clients[i].hears(400).starts_with("220 ")) << i;
        }
        clients.clear();
        all_closed();
        EXPECT_EQ(1, times_logged(broken));
        forget_log();
    }
}
