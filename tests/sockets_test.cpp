// The listening socket: its address, a burst of clients, descriptors running out.

#include "installation.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>

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
        put("links", "link set lo up\nlink add v0 type veth peer name v1\n"
                     "link add w0 type veth peer name w1\nlink set w0 up\n"
                     "addr add 192.168.66.1/24 dev w0\naddr add 192.168.66.2/24 dev w1\n"
                     "link set v0 up\nlink set v1 up\n");
        ip("-batch links");
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
        put(SETTINGS, "[QLNSMTP]\nport=" + std::to_string(port_) + "\n" + lines);
        forget_log();
    }

    // With these settings, the first tick reports the address, and these are served.
    void serves(const std::string &lines, const std::string &reported,
                const std::vector<std::string> &reachable)
    {
        SCOPED_TRACE(lines);
        set(lines);
        launch();
        EXPECT_TRUE(logs("SMTP: Server is listening on single selected IP address of " +
                         reported + " on port [" + std::to_string(port_) + "].."));
        std::vector<std::string> reached;
        for (const char *server :
             {"127.0.0.1", "127.0.0.5", "192.168.77.5", "192.168.77.6"}) {
            if (greets(server)) {
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
    for (const std::string name : {"fax1.example.com", "fax9"}) {
        settings("");
        start({"unshare", "-mu", "sh", "-c",
               "mount --bind hosts /etc/hosts && mount --bind resolv.conf "
               "/etc/resolv.conf && hostname " +
                   name.substr(0, 4) + " && exec \"$0\""});
        EXPECT_TRUE(connect_from().hears().starts_with("220 [" + name + "]"));
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

    std::remove(SETTINGS);
    port_ = 25;
    start();
    EXPECT_TRUE(content("DATA/RAW/qlnxserver.dat")
                    .starts_with("[QLNSMTP]\r\nVERSION=2.61.00\r\n"
                                 "BUILDDATE=1 January,2005\r\nHWND="));
}

TEST_F(Sockets, ABurstIsGreetedWholeAfterAStopOfTheProcess)
{
    start();
    Client before = greeted();
    kill(process_, SIGSTOP); // everybody is there before the first is accepted
    std::vector<Client> clients = crowd(400);
    kill(process_, SIGCONT);
    for (Client &client : clients) {
        ASSERT_TRUE(client.hears().starts_with("220 "));
        ASSERT_TRUE(client.asks("HELO pc").starts_with("250 "));
    }
    EXPECT_EQ(OK, before.asks("NOOP"));
    EXPECT_TRUE(logs("SMTP: [401] connections active"));
}

TEST_F(Sockets, WhoSendsThousandsOfCommandsAheadHoldsUpNobody)
{
    start();
    Client client = greeted();
    for (int i = 0; i < 40; i++) { // many short replies may wait for their reader
        client.says(copies(300, "NOOP\r\n"));
        sleep_ms(5);
        ASSERT_EQ(copies(300, OK), client.hears_lines(300)) << i;
    }
    std::atomic<bool> enough = false;
    const auto flood = [&] {
        Client flooder = greeted("127.0.0.6");
        char replies[8 * 1000];
        ssize_t count = sizeof replies;
        while (!enough && count == sizeof replies) {
            flooder.says(copies(1000, "NOOP\r\n"));
            count = recv(flooder.socket(), replies, sizeof replies, MSG_WAITALL);
        }
        EXPECT_EQ(ssize_t{sizeof replies}, count);
    };
    std::vector<std::jthread> floods;
    std::generate_n(std::back_inserter(floods), 6, [&] { return std::jthread(flood); });
    sleep_ms(100);
    std::vector<double> times; // milliseconds
    for (int i = 0; i < 101; i++) {
        const auto began = std::chrono::steady_clock::now();
        client.says("NOOP\r\nNOOP\r\n"); // neither reply waits for the other's
        EXPECT_EQ("250 OK\r\n250 OK\r\n", client.hears_lines(2));
        const auto took = std::chrono::steady_clock::now() - began;
        times.push_back(std::chrono::duration<double, std::milli>(took).count());
    }
    enough = true;
    floods.clear();
    std::sort(times.begin(), times.end());
    EXPECT_LT(times[50], 0.7);
}

TEST_F(Sockets, WhenDescriptorsRunOutTheRestWaits)
{
    constexpr size_t LIMIT = 40;
    const std::string broken = "SMTP: [] - Connection broken...";
    start({"prlimit", "--nofile=" + std::to_string(LIMIT)});
    for (int occurrence = 0; occurrence < 2; occurrence++) {
        std::vector<Client> clients = crowd(LIMIT + 10);
        ASSERT_TRUE(logs(broken));
        size_t greeted = 0;
        while (greeted < clients.size() &&
               clients[greeted].hears(300).starts_with("220 ")) {
            greeted++;
        }
        ASSERT_GT(greeted, LIMIT / 3);
        ASSERT_LT(greeted, LIMIT);
        clients[0].asks("HELO pc"), clients[0].asks("MAIL FROM:<a@b>");
        EXPECT_EQ(OK, clients[0].delivers("text\r\n")); // it goes on
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
