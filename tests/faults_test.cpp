// Every system call on the road of a message fails once, one after the other: no message
// is promised that is not in the spool whole, nobody is let through who would not be, and
// the next client finds the server as it was.

#include "faults/failing_calls.h"
#include "installation.h"

#include <cerrno>

#include <sys/mman.h>
#include <sys/resource.h>

#include <fcntl.h>

namespace
{

constexpr char TEXT[] = "Subject: fault\r\n\r\nfirst\r\nlast\r\n";

struct Fault {
    const char *name;
    FailingCall call;
    int error;
    bool half = false;
    bool never_promised = false; // a message that it happens to
    int syncs = 0;
};

constexpr Fault FAULTS_OF_A_MESSAGE[] = {
    {"stat: for a while", CALL_STAT, EIO, true},
    {"read", CALL_READ, EIO},
    {"open", CALL_OPEN, EIO},
    {"open: descriptors", CALL_OPEN, EMFILE},
    {"write", CALL_WRITE, EIO},
    {"write: disk full", CALL_WRITE, ENOSPC, true},
    {"close", CALL_CLOSE, EDQUOT, false, true},
    {"rename", CALL_RENAME, EACCES},
    {"unlink", CALL_UNLINK, EROFS},
    {"sync", CALL_SYNC, EIO, false, true, 2}, // envelope, names
    {"sync of the text", CALL_SYNC_OF_TEXT, EIO, false, true, 1},
    {"send", CALL_SEND, ECONNRESET},
    {"send: short", CALL_SEND, EAGAIN, true},
    {"recv", CALL_RECV, ECONNRESET},
    {"accept", CALL_ACCEPT, ECONNABORTED},
    {"watch", CALL_WATCH, ENOSPC},
    {"memory", CALL_MEMORY, ENOMEM},
};

struct Toggles {
    const char *lines;
    bool may_pass = false; // a client of these manners is to get its message through
    bool authenticates = false;
    bool waits_for_disk = true;
    const char *address = "127.0.0.1";
    const char *domain = "firm";
};

constexpr Toggles TOGGLES[] = {
    {"", true},
    {"FULLDETAIL=1\nUSEDOMAINS=1\nSMTPAUTHENTICATION=1\nACCEPTVALIDADDRESSONLY=1\n"
     "SMTPIPBLOCK=1\n[SMTPSRV]\nSHOWAUTHENTICATEDETAILS=1\n",
     true, true},
    {"FULLDETAIL=1\nLOGONLY=1\nSYNCSPOOL=0\n", true, false, false},
    {"SMTPAUTHENTICATION=1\n"},
    {"ACCEPTVALIDADDRESSONLY=1\n", false, false, true, "127.0.0.7"},
    {"SMTPIPBLOCK=1\n", false, false, true, "127.0.0.9"},
    {"USEDOMAINS=1\n", false, false, true, "127.0.0.1", "other"},
};

} // namespace

class Faults : public Installation
{
  protected:
    Faults()
    {
        put(DOMAINS, "firm.example,all\r\n");
        put(ACCEPTED, "127.0.0.1\r\n");
        put(BANNED, "127.0.0.9\r\n");
        put("faults.page", std::string(sizeof(FaultPage), '\0'));
        const int file = open("faults.page", O_RDWR);
        page_ = static_cast<FaultPage *>(mmap(
            nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
        close(file);
        start_on_page();
    }

    void start_on_page()
    {
        start({"env", "MALLOC_ARENA_MAX=1", "FAULT_PAGE=faults.page",
               "LD_PRELOAD=" FAULTS_BEFORE FAULTS_LIBRARY});
        settled_ = open_descriptors();
    }

    void allow_memory(rlim_t bytes)
    {
        const rlimit limit{bytes, RLIM_INFINITY};
        ASSERT_EQ(0, prlimit(process_, RLIMIT_AS, &limit, nullptr));
    }

    // From now on the n-th of these calls fails.
    void arm(const Fault &fault, int nth = 1)
    {
        page_->kind = fault.call;
        page_->error = fault.error;
        page_->half = fault.half;
        page_->nth = nth;
    }

    // The session has ended, and what it held is given back.
    void expect_settled() const
    {
        EXPECT_TRUE(comes_true([&] { return open_descriptors() == settled_; }))
            << open_descriptors() << " descriptors, not " << settled_;
    }

    // And it is the only one, and logged.
    void expect_next_is_served()
    {
        const long before = times_logged("] Connected");
        Client next = greeted();
        next.asks("QUIT");
        EXPECT_TRUE(next.is_closed());
        expect_settled();
        EXPECT_FALSE(logs("connections", 0));
        EXPECT_EQ(before + 1, times_logged("] Connected"));
    }

    // A client that goes on as long as it is answered with success. Whether the message
    // was promised.
    bool delivers(const Toggles &toggles)
    {
        Client client = connect_from(toggles.address);
        const std::string domain = toggles.domain + std::string(".example>");
        const std::string lines[] = {
            "HELO pc", toggles.authenticates ? "AUTH LOGIN" : "NOOP",
            "MAIL FROM:<anna@" + domain, "RCPT TO:<fax@" + domain, "DATA"};
        std::string reply = client.hears(1000);
        for (const std::string &line : lines) {
            if (!reply.ends_with("\n") || (reply[0] != '2' && reply[0] != '3')) {
                return false;
            }
            reply = client.asks(line, 700);
            EXPECT_TRUE(reply.empty() || reply.ends_with("\n") || client.is_closed());
            if (reply.starts_with("451 ") && page_->kind == CALL_WRITE) { // tries again
                page_->nth = 0;
                reply = client.asks(line);
            }
        }
        if (!reply.starts_with("354 ")) {
            return false;
        }
        client.says("Subject: fault\r\n");
        client.says("\r\nfirst\r\nlast\r\n");
        const bool promised = client.asks(".", 700) == OK;
        client.says("QUIT\r\n");
        client.is_closed(300);
        return promised;
    }

    // Empties the spool: whether it held a message, which is whole. What else may be left
    // of a transaction is what could not be deleted, and the body that could not be
    // handed over, which the log names.
    bool takes_message(FailingCall failing = CALL_KINDS)
    {
        const std::vector<std::string> all = files();
        const bool there = !all.empty() && all.back().ends_with(".txt");
        if (there) {
            EXPECT_EQ(TEXT, text_of(spooled(".txt")));
            EXPECT_EQ("MAIL FROM: <anna@firm.example>\r\nRCPT TO: <fax@firm.example>\r\n",
                      spooled(".env"));
        }
        EXPECT_TRUE(all.size() == (there ? 2 : 0) || failing == CALL_UNLINK ||
                    (failing == CALL_RENAME && logs("is kept in")));
        EXPECT_TRUE(files("pending").empty() && files("mailin").empty());
        empty_spool();
        return there;
    }

    // A message that could not be stored is accounted for: when its connection failed, by
    // that one's end.
    bool log_tells_why(FailingCall failing)
    {
        const bool connection = failing == CALL_SEND || failing == CALL_RECV ||
                                failing == CALL_ACCEPT || failing == CALL_WATCH;
        return logs("could not be", 0) || logs("FATAL ERROR", 0) ||
               logs("***WARNING***", 0) || logs("Connection broken", 0) ||
               (connection && logs("disconnected", 1000));
    }

    FaultPage *page_;
    size_t settled_;
};

TEST_F(Faults, OfEverySystemCallLeaveNoHarm)
{
    for (const Toggles &toggles : TOGGLES) {
        settings("SocketTimeout=3\n" + std::string(toggles.lines));
        for (const Fault &fault : FAULTS_OF_A_MESSAGE) {
            const int before = page_->calls[fault.call];
            EXPECT_EQ(toggles.may_pass, delivers(toggles));
            expect_settled();
            EXPECT_EQ(toggles.may_pass, takes_message());
            const int calls = page_->calls[fault.call] - before;
            if (toggles.may_pass && fault.syncs > 0) {
                EXPECT_EQ(toggles.waits_for_disk ? fault.syncs : 0, calls);
            }
            for (int nth = 1; nth <= calls; nth++) {
                SCOPED_TRACE(std::string(fault.name) + " no. " + std::to_string(nth) +
                             " with " + toggles.lines);
                forget_log();
                arm(fault, nth);
                const bool promised = delivers(toggles);
                expect_settled();
                page_->nth = 0;
                expect_next_is_served();
                const bool stored = takes_message(fault.call);
                EXPECT_TRUE(stored ? toggles.may_pass : !promised);
                EXPECT_FALSE(promised && fault.never_promised);
                EXPECT_TRUE(promised || !toggles.may_pass || log_tells_why(fault.call));
            }
        }
    }
    EXPECT_EQ(std::string::npos, content(LOG).find("[-1]")); // in a sweep
}

TEST_F(Faults, AListThatHasNeverBeenReadLetsNobodyIn)
{
    settings("SMTPIPBLOCK=1\n");
    arm({"stat", CALL_STAT, EIO, true}, 3); // after the settings, in two letter cases
    for (const char *address : {"127.0.0.9", "127.0.0.9", "127.0.0.1"}) {
        EXPECT_EQ("503 ", connect_from(address).hears().substr(0, 4));
    }
    EXPECT_EQ(1, times_logged("Banned addresses cannot be read, everybody is refused - "
                              "Input/output error [DATA/RAW/BADSMTPIPADDRESS.TXT]"));
    page_->nth = 0;
    EXPECT_EQ("220 ", connect_from("127.0.0.1").hears().substr(0, 4));
    EXPECT_EQ("503 ", connect_from("127.0.0.9").hears().substr(0, 4));
}

TEST_F(Faults, AnAcceptThatIsForbiddenIsToldOnceAndTriedInPeace)
{
    const int before = page_->calls[CALL_ACCEPT];
    arm({"accept", CALL_ACCEPT, EPERM, true});
    Client client = connect_from();
    sleep_ms(1300);
    EXPECT_EQ(1, times_logged("Connection broken"));
    EXPECT_LE(page_->calls[CALL_ACCEPT] - before, 4);
    page_->nth = 0;
    EXPECT_EQ("220 ", client.hears().substr(0, 4));
}

TEST_F(Faults, OfAThreadMakeTheMessageWaitForTheDiskWithTheOthers)
{
    const int before = page_->calls[CALL_THREAD];
    arm({"thread", CALL_THREAD, EAGAIN});
    EXPECT_TRUE(delivers(TOGGLES[0]));
    EXPECT_EQ(before + 1, page_->calls[CALL_THREAD]);
    EXPECT_TRUE(delivers(TOGGLES[0])); // and the next one has them
    EXPECT_LT(before + 2, page_->calls[CALL_THREAD]);
    EXPECT_EQ(2 * 2U, files().size());
}

// A disk that takes its time, and clients who do not.
TEST_F(Faults, OfNobodyElseAreTheWaitsForTheDisk)
{
    EXPECT_EQ(0, stop());
    settings("SocketTimeout=1\nFULLDETAIL=1\n");
    start_on_page();
    Client slow = with_recipient();
    EXPECT_EQ("354", slow.asks("DATA").substr(0, 3));
    Client leaver = with_recipient();
    EXPECT_EQ("354", leaver.asks("DATA").substr(0, 3));
    const int watched = page_->calls[CALL_WATCH];
    page_->delay = 7000; // there is a sweep meanwhile
    slow.says(TEXT + std::string(".\r\ndropped\r\nno"));
    leaver.says(TEXT + std::string(".\r\n"));
    sleep_ms(100);
    page_->delay = 0;                      // of those that follow
    EXPECT_EQ(OK, greeted().asks("NOOP")); // the loop is free
    EXPECT_EQ(watched + 1, page_->calls[CALL_WATCH]) << "that of the new client";
    leaver.leaves();
    slow.says("op\r\nQUIT\r\n");
    EXPECT_EQ("", slow.hears(1000));
    EXPECT_LT(watched + 1, page_->calls[CALL_WATCH]) << "who talks on keeps nobody busy";
    EXPECT_EQ(OK, slow.hears(9000));
    EXPECT_EQ(OK, slow.hears()); // of the NOOP that was begun with the text
    EXPECT_EQ("221", slow.hears().substr(0, 3));
    expect_settled();
    EXPECT_EQ(2 * 2U, files().size());
    EXPECT_EQ(2, times_logged("is now available to Quillon"));

    // A close-down gives them their answers first.
    Client last = with_recipient();
    last.asks("DATA");
    page_->delay = 1000;
    last.says(TEXT + std::string(".\r\n"));
    sleep_ms(100);
    EXPECT_EQ(0, stop());
    EXPECT_EQ(OK, last.hears());
    EXPECT_EQ(2 * 3U, files().size());
    EXPECT_EQ("SMTP: Server is being closed down", log_lines().back());
}

TEST_F(Faults, AClockThatJumpsDisturbsNobody)
{
    Client idle = with_recipient();
    for (const int seconds : {86400, -86400, 0}) {
        page_->clock = seconds;
        EXPECT_TRUE(delivers(TOGGLES[0]));
        settings("SocketTimeout=5\nSMTPAUTHENTICATION=1\n");
        EXPECT_FALSE(delivers(TOGGLES[0]));
        settings("SocketTimeout=5\n");
    }
    page_->clock = 86400;
    EXPECT_TRUE(logs("Socket timeout RESET to 5 ", 7500)); // by a sweep
    EXPECT_EQ(OK, idle.delivers(TEXT));
    EXPECT_EQ(2 * 4U, files().size());
}

// Without the address sanitizer, which needs more address space than there is.
#ifndef __SANITIZE_ADDRESS__
TEST_F(Faults, WithoutMemoryThoseWhoAreConnectedGoOnAndTheOthersWait)
{
    settings("USEDOMAINS=1\n");
    Client here = greeted();
    allow_memory(memory()); // no more than it has
    std::vector<Client> others = crowd(500);
    EXPECT_TRUE(logs("Out of memory"));
    // What is left is theirs: enough for a list that grows.
    put(DOMAINS, copies(3000, "other.com,1\r\n") + "firm.example,1\r\n");
    here.asks("MAIL FROM:<anna@firm.example>"), here.asks("RCPT TO:<fax@firm.example>");
    EXPECT_EQ(OK, here.delivers(TEXT));
    EXPECT_TRUE(takes_message());

    allow_memory(RLIM_INFINITY);
    EXPECT_EQ("220 ", others.back().hears().substr(0, 4));
    EXPECT_EQ(1, times_logged("Out of memory"));

    // An event for which there is nothing at all is lost, and nobody else's.
    arm({"memory", CALL_MEMORY, ENOMEM, true});
    EXPECT_EQ("", here.asks("MAIL FROM:<somebody.with.a.long@name.example>", 300));
    page_->nth = 0;
    EXPECT_TRUE(delivers(TOGGLES[0]));
}

// Lists that have become too long for the memory that is left.
TEST_F(Faults, WithoutMemoryForAListNobodyIsLetInAndTheServerGoesOn)
{
    settings("SMTPIPBLOCK=1\nUSEDOMAINS=1\n");
    EXPECT_TRUE(delivers(TOGGLES[0]));
    const size_t before = memory();
    std::string addresses = "127.0.0.9\r\n" + copies(300000, "10.9.8.7\r\n");
    std::string domains = "firm.example,all\r\n";
    std::string users;
    for (int i = 0; i < 300000; i++) {
        domains += std::to_string(i) + ",all\r\n";
        users += "[" + std::to_string(i) + "]\r\nID=x\r\n";
    }
    for (const unsigned megabytes : {7U, 14U}) {
        allow_memory(before + (megabytes << 20));
        put(BANNED, addresses += "10.9.8.7\r\n");
        put(DOMAINS, domains += "more,all\r\n");
        put(USERS, users += "[more]\r\n");
        EXPECT_EQ("503 ", connect_from("127.0.0.9").hears().substr(0, 4));
        EXPECT_FALSE(delivers(TOGGLES[6]));
        EXPECT_TRUE(delivers(TOGGLES[0]));
    }
}
#endif
