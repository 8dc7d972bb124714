// The listening socket: its address, a burst of clients, descriptors running out.

#include "installation.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

namespace
{

constexpr char SETTINGS_FILE[] = "DATA/RAW/QLNXSERVER.DAT";

void pause_for(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace

class Sockets : public Installation
{
  protected:
    long times_logged(const std::string &line)
    {
        const std::vector<std::string> lines = log_lines();
        return std::count(lines.begin(), lines.end(), line);
    }
    // Processor time used so far, in milliseconds.
    long used_time() const
    {
        std::ifstream file("/proc/" + std::to_string(process()) + "/stat");
        std::string word;
        for (int i = 0; i < 13; i++) {
            file >> word;
        }
        long user = 0;
        long system = 0;
        file >> user >> system;
        return (user + system) * 1000 / sysconf(_SC_CLK_TCK);
    }
};

// --- The address table, on a network of the test's own

struct AddressCase {
    std::string settings;
    // What the first tick reports; null: the start fails.
    const char *reported;
    std::vector<std::string> reachable;
};

class ListenAddresses : public Sockets
{
  protected:
    // Two interfaces that run, one whose cable is out and one that is down.
    void SetUp() override
    {
        home_ = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        if (unshare(CLONE_NEWNET) != 0) {
            GTEST_SKIP() << "no network of its own without the right to make one";
        }
        ip("link set lo up");
        ip("link add v0 type veth peer name v1");
        ip("link add w0 type veth peer name w1");
        ip("addr add 192.168.66.1/24 dev w0");
        ip("link set w0 up");
        ip("addr add 192.168.66.2/24 dev w1");
        ip("link set v0 up");
        ip("link set v1 up");
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

    void tries(const AddressCase &one)
    {
        SCOPED_TRACE(one.settings);
        put(SETTINGS_FILE,
            "[QLNSMTP]\nport=" + std::to_string(port_) + "\n" + one.settings);
        forget_log();
        if (one.reported == nullptr) {
            EXPECT_EQ(1, start_and_wait());
            EXPECT_TRUE(logs("SMTP: Error - Unable to create named socket"));
            return;
        }
        launch();
        const std::string on =
            *one.reported == '\0'
                ? "SMTP: Server is listening on ALL available IP address(s)"
                : "SMTP: Server is listening on single selected IP address of " +
                      std::string(one.reported);
        EXPECT_TRUE(logs(on + " on port [" + std::to_string(port_) + "].."));
        std::vector<std::string> reached;
        for (const char *server :
             {"127.0.0.1", "127.0.0.5", "192.168.77.5", "192.168.77.6"}) {
            Client client = connect_from("0.0.0.0", server);
            if (client.socket() >= 0 && client.hears().starts_with("220 ")) {
                reached.push_back(server);
            }
        }
        EXPECT_EQ(one.reachable, reached);
        EXPECT_EQ(0, stop());
    }

  private:
    int home_ = -1;
};

TEST_F(ListenAddresses, HostWithoutAnAddress)
{
    const AddressCase cases[] = {
        {"", "127.0.0.1", {"127.0.0.1"}},
        {"IPADDR=192.168.77.5\n", "127.0.0.1", {"127.0.0.1"}},
        {"IPADDR=127.0.0.5\n[tcpip]\nUseSameIPAddress=1\n", "127.0.0.5", {"127.0.0.5"}},
    };
    for (const AddressCase &one : cases) {
        tries(one);
    }
}

TEST_F(ListenAddresses, HostWithOneAddress)
{
    ip("addr add 192.168.77.5/32 dev v1");
    const AddressCase cases[] = {
        {"", "192.168.77.5", {"192.168.77.5"}},
        {"IPADDR=10.1.1.1\n", "192.168.77.5", {"192.168.77.5"}},
        {"IPADDR=127.0.0.1\n", "127.0.0.1", {"127.0.0.1"}},
        {"[TCPIP]\nUSESAMEIPADDRESS=1\n", "127.0.0.1", {"127.0.0.1"}},
        {"BIND=0\nIPADDR=127.0.0.1\n", "", {"127.0.0.1", "127.0.0.5", "192.168.77.5"}},
    };
    for (const AddressCase &one : cases) {
        tries(one);
    }
}

TEST_F(ListenAddresses, HostWithTwoAddresses)
{
    ip("addr add 192.168.77.5/32 dev v1");
    ip("addr add 192.168.77.6/32 dev v0");
    const AddressCase cases[] = {
        // The report's default, although it listens on all of them.
        {"", "127.0.0.1", {"127.0.0.1", "127.0.0.5", "192.168.77.5", "192.168.77.6"}},
        {"IPADDR=192.168.77.6\n", "192.168.77.6", {"192.168.77.6"}},
        {"IPADDR=127.1\n", "127.0.0.1", {"127.0.0.1"}}, // in its normal form
        {"IPADDR=192.168.66.2\n", "192.168.66.2", {}},
        {"IPADDR=10.1.1.1\n", nullptr, {}},
        {"IPADDR=localhost\n", nullptr, {}},
        {"IPADDR=255.255.255.255\n", nullptr, {}},
        {"IPADDR=224.0.0.1\n", nullptr, {}},
        {"[TCPIP]\nUSESAMEIPADDRESS=1\n[QLNSMTP]\nIPADDR=x\n",
         "127.0.0.1",
         {"127.0.0.1"}},
    };
    for (const AddressCase &one : cases) {
        tries(one);
    }
}

TEST_F(ListenAddresses, WithoutASettingsFilePort25IsServed)
{
    std::remove(path(SETTINGS_FILE).c_str());
    port_ = 25;
    start();
    EXPECT_EQ(std::vector<std::string>{"qlnxserver.dat"}, files("DATA/RAW"));
    EXPECT_TRUE(content("DATA/RAW/qlnxserver.dat")
                    .starts_with("[QLNSMTP]\r\nVERSION=2.61.00\r\n"
                                 "BUILDDATE=1 January,2005\r\nHWND="));
}

// --- One listener at a time

TEST_F(Sockets, ThePortIsFreeRightAfterAStopButNeverServedByTwo)
{
    for (int run = 0; run < 3; run++) {
        start();
        Client client = greeted();
        EXPECT_EQ(1, start_and_wait());
        EXPECT_TRUE(logs("SMTP: Error - Unable to create named socket"));
        EXPECT_EQ("250 OK\r\n", client.asks("NOOP"));
        EXPECT_EQ(0, stop()); // the server closes first: the port stays half used
        EXPECT_TRUE(client.is_closed());
    }
}

TEST_F(Sockets, ABurstIsGreetedWhole)
{
    start();
    kill(process(), SIGSTOP); // everybody is there before the first is accepted
    std::vector<Client> clients;
    clients.reserve(400);
    for (int i = 0; i < 400; i++) {
        clients.push_back(connect_from());
    }
    kill(process(), SIGCONT);
    for (Client &client : clients) {
        ASSERT_TRUE(client.hears().starts_with("220 "));
    }
    EXPECT_TRUE(logs("SMTP: [400] connections active"));
    clients.clear();
    all_closed();
}

TEST_F(Sockets, WhenDescriptorsRunOutTheRestWaitsAndNothingSpins)
{
    constexpr int LIMIT = 32;
    constexpr int WAITING = 10;
    constexpr char BROKEN[] = "SMTP: [] - Connection broken...";
    start({"sh", "-c", "ulimit -n " + std::to_string(LIMIT) + "; exec \"$0\""});

    for (int occurrence = 1; occurrence <= 2; occurrence++) {
        std::vector<Client> clients;
        clients.reserve(LIMIT + WAITING);
        for (int i = 0; i < LIMIT + WAITING; i++) {
            clients.push_back(connect_from());
        }
        ASSERT_TRUE(logs(BROKEN));
        size_t greeted = 0;
        while (greeted < clients.size() &&
               clients[greeted].hears(300).starts_with("220 ")) {
            greeted++;
        }
        ASSERT_GT(greeted, LIMIT / 3);
        ASSERT_LT(greeted, LIMIT);

        const long used = used_time();
        pause_for(1200);
        EXPECT_LT(used_time() - used, 100);
        EXPECT_EQ(occurrence, times_logged(BROKEN));
        for (size_t i = 0; i < greeted; i++) { // the sessions go on
            EXPECT_TRUE(clients[i].asks("HELO pc").starts_with("250 "));
        }
        // Each that leaves lets one in.
        for (size_t i = greeted; i < clients.size(); i++) {
            clients[i - greeted].leaves();
            EXPECT_TRUE(clients[i].hears().starts_with("220 ")) << i;
        }
        clients.clear();
        ASSERT_TRUE(logs("All active sessions closed"));
        pause_for(600);
        EXPECT_EQ(occurrence, times_logged(BROKEN));
        Client client = with_recipient();
        EXPECT_TRUE(client.asks("DATA").starts_with("354 "));
        EXPECT_EQ("250 OK\r\n", client.asks("x\r\n."));
    }
    EXPECT_EQ(4U, files().size());
}

TEST_F(Sockets, AStopAndContinuationOfTheProcessDisturbsNobody)
{
    start();
    Client client = with_recipient();
    EXPECT_TRUE(client.asks("DATA").starts_with("354 "));
    for (int i = 0; i < 20; i++) {
        kill(process(), SIGSTOP);
        EXPECT_TRUE(client.says("line " + std::to_string(i) + "\r\n"));
        pause_for(5);
        kill(process(), SIGCONT);
        pause_for(5);
    }
    EXPECT_EQ("250 OK\r\n", client.asks("."));
    EXPECT_TRUE(spooled(".txt").ends_with("line 18\r\nline 19\r\n"));
}
