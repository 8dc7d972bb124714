// What qlnsmtp-check says about an installation directory.

#include "installation.h"

#include <algorithm>
#include <cstdlib>

#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace
{

constexpr char ACCEPTED[] = "DATA/RAW/VALIDIPADDRESSES.TXT";
constexpr char BANNED[] = "DATA/RAW/BADSMTPIPADDRESS.TXT";
constexpr char USERS[] = "DATA/RAW/TSUSERS.DAT";
constexpr char DOMAINS[] = "DATA/RAW/DOMAIN.DAT";
constexpr char ALL_ON[] = "ACCEPTVALIDADDRESSONLY=1\r\nSMTPIPBLOCK=1\r\nUSEDOMAINS=1\r\n";

struct Verdict {
    const char *file; // null: of the settings
    const char *bytes;
    int status;
    std::vector<std::string> findings; // all of them, but notes
};

} // namespace

class Check : public Installation
{
  protected:
    // Runs the program; its exit status, and what it says in `said`.
    int status(const std::string &arguments = "")
    {
        const std::string command =
            QLNSMTP_CHECK " " + path("") + " " + arguments + " >" + path("said");
        const int result = system(command.c_str());
        said = content("said");
        return WEXITSTATUS(result);
    }
    // Asked about the user who runs the tests, so that root is not warned of itself.
    int status_of_all()
    {
        return status("--user " + std::string(getpwuid(geteuid())->pw_name));
    }
    // The findings but the notes, each up to the length of the one expected there.
    std::vector<std::string> warnings(const std::vector<std::string> &expected) const
    {
        std::vector<std::string> found;
        for (size_t at = 0; at < said.size(); at = said.find('\n', at) + 1) {
            const std::string line = said.substr(at, said.find('\n', at) - at);
            if (line.find("note: ") == line.npos) {
                const size_t i = found.size();
                found.push_back(
                    line.substr(0, i < expected.size() ? expected[i].size() : line.npos));
            }
        }
        return found;
    }
    // A healthy installation with every list switched on.
    void put_all()
    {
        put(ACCEPTED, ";office\r\n10.0.0.5\r\n10.0.0.8-10.0.0.9\r\n");
        put(BANNED, "10.9.9.9\r\n");
        put(USERS, "[USER0]\r\nID=a\r\n[USER1]\r\nFULLEMAIL=b@c\r\n");
        put(DOMAINS, "firm.example,1\r\nother.example");
        settings(ALL_ON);
    }
    void judge(const std::vector<Verdict> &verdicts)
    {
        for (const Verdict &verdict : verdicts) {
            put_all();
            if (verdict.file != nullptr) {
                put(verdict.file, verdict.bytes);
            } else {
                settings(verdict.bytes);
            }
            EXPECT_EQ(verdict.status, status_of_all()) << verdict.bytes << said;
            std::vector<std::string> expected = verdict.findings;
            for (std::string &finding : expected) {
                finding.insert(0, verdict.file != nullptr ? verdict.file
                                                          : "data/raw/qlnxserver.dat");
            }
            EXPECT_EQ(expected, warnings(expected)) << verdict.bytes << said;
        }
    }
    std::string said;
};

TEST_F(Check, AHealthyInstallationIsFoundHealthyRunningOrNot)
{
    put_all();
    settings(std::string(ALL_ON) + "SocketTimeout=60\r\nMAXSIZE=5\r\n"
                                   "[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=0\r\n"
                                   "[OTHER]\r\nx=y\r\nx=y\r\n");
    EXPECT_EQ(0, status_of_all());
    EXPECT_EQ("", said);
    start();
    EXPECT_EQ(0, status_of_all());
    EXPECT_TRUE(said.ends_with("0.0.0.0: the server is running\n")) << said;
    ASSERT_EQ(0, rename(path("LOGS").c_str(), path("LOGS2").c_str()));
    put("LOGS/QLNSMTP.TXT", "");
    EXPECT_EQ(2, status_of_all());
    EXPECT_NE(std::string::npos, said.find("another installation's")) << said;
}

TEST_F(Check, SettingsInUtf16AndLineEndsOfCrAloneAreTold)
{
    put("DATA/RAW/QLNXSERVER.DAT", "\xFF\xFE[Q");
    EXPECT_EQ(2, status());
    EXPECT_NE(std::string::npos,
              said.find("(it is in UTF-16): the server does not start"));
    put("DATA/RAW/QLNXSERVER.DAT", "[QLNSMTP]\rport=abc\r");
    EXPECT_EQ(2, status());
    EXPECT_NE(std::string::npos, said.find("note: its lines end in CR alone"));
    EXPECT_NE(std::string::npos, said.find(":2: error: port=abc is not a number"));
}

TEST_F(Check, TellsWhatAUserMayNotDoAndNamesThatAreThereTwice)
{
    put_all();
    ASSERT_EQ(0, chmod(path("").c_str(), 0755));
    ASSERT_EQ(0, chmod(path("DATA").c_str(), 0755));
    ASSERT_EQ(0, chmod(path("mailin").c_str(), 0777));
    ASSERT_EQ(0, chmod(path("pending").c_str(), 0775));
    ASSERT_EQ(0, chmod(path("qlnemails").c_str(), 0775));
    EXPECT_EQ(2, status("--user nobody"));
    EXPECT_EQ(std::string::npos, said.find("mailin: ")) << said;
    EXPECT_NE(std::string::npos, said.find("pending: error: cannot be written")) << said;
    EXPECT_EQ(2, status("--user no-such-user 2>/dev/null"));

    ASSERT_EQ(0, rmdir(path("mailin").c_str()));
    put("DATA/RAW/domain.dat", "");
    EXPECT_EQ(2, status_of_all());
    const std::vector<std::string> expected = {
        "mailin: error: is missing", "DATA/RAW/DOMAIN.DAT: warning: is there 2 times"};
    EXPECT_EQ(expected, warnings(expected)) << said;
}

TEST_F(Check, SettingsThatAreNotReadAsTheySeem)
{
    judge({
        {nullptr, "Colour=red\r\n", 1, {":4: warning: Colour is not a setting"}},
        {nullptr,
         "MINSIZE=4096\r\n",
         2,
         {":4: error: MINSIZE=4096 is out of range", ": warning: MINSIZE (4096) must"}},
        {nullptr,
         "FULLDETAIL=1x\r\nSYNCSPOOL=no\r\n",
         2,
         {":4: error: FULLDETAIL=1x is not a number: it reads as 1",
          ":5: error: SYNCSPOOL=no is not a number"}},
        {nullptr,
         "LOGONLY=0\r\nlogonly=1\r\n",
         1,
         {":5: warning: LOGONLY is set a second"}},
        {nullptr, "[qlnsmtp]\r\nFULLDETAIL=1x\r\n", 1, {":4: warning: [qlnsmtp] stands"}},
        {nullptr,
         "SHOWAUTHENTICATEDETAILS=1\r\n",
         1,
         {":4: warning: SHOWAUTHENTICATEDETAILS is not read here: it belongs to section "
          "[SMTPSRV]"}},
        {nullptr, "USEDOMAIN=1\r\n", 1, {": warning: USEDOMAIN only"}},
    });
    put("DATA/RAW/QLNXSERVER.DAT", "[QLNSMTP]\r\nport=2600\r\nIPADDR=203.0.113.9\r\n");
    EXPECT_LE(1, status_of_all());
    EXPECT_NE(std::string::npos, said.find(": IPADDR=203.0.113.9 is ")) << said;
}

TEST_F(Check, EntriesThatMeanOthersThanTheySeem)
{
    judge({
        {ACCEPTED,
         "10.*.*.*-20.*.*.*\r\n",
         2,
         {":1: error: [10.*.*.*-20.*.*.*] lets in ev"}},
        {ACCEPTED,
         "10.0.0.*-10.0.5.9\r\n",
         1,
         {":1: warning: [10.0.0.*-10.0.5.9] lets in"}},
        {ACCEPTED,
         "10.0.*.5-10.0.3.20",
         1,
         {":1: warning: [10.0.*.5-10.0.3.20] lets in"}},
        {ACCEPTED,
         "10.0.0.5-10.0.0.*",
         1,
         {":1: warning: [10.0.0.5-10.0.0.*] lets in more than meant: its lower"}},
        {ACCEPTED, "0.0.0.*-255.255.255.*", 0, {}},
        {ACCEPTED, "192.168.*.10-192.168.*.20", 0, {}},
        {ACCEPTED, "10.0.0.0-10.0.5.255\r\n010.1.0.1 - 10.1.0.9\r\n", 0, {}},
        {ACCEPTED,
         "10.0.0.10-10.0.5.20\r\n",
         1,
         {":1: warning: [10.0.0.10-10.0.5.20] compares each octet by itself: it does not "
          "let in 10.0.1.21, which"}},
        {BANNED,
         "203.0.113.200-203.0.114.220\r\n",
         1,
         {":1: warning: [203.0.113.200-203.0.114.220] compares each octet by itself: it "
          "does not ban 203.0.113.221, which"}},
        {BANNED,
         "10.0.0.200-10.0.1.255\r\n",
         1,
         {":1: warning: [10.0.0.200-10.0.1.255] compares each octet by itself: it does "
          "not "
          "ban 10.0.1.199, which"}},
        {ACCEPTED,
         "10.0.0.1-1o.0.0.1\r\n1o.0.0.1-10.0.0.1\r\n10.0.1*.*",
         1,
         {":1: warning: [10.0.0.1-1o.0.0.1] can match nobody",
          ":2: warning: [1o.0.0.1-10.0.0.1] has the octet `1o`, which is no number from "
          "0 "
          "to 255: it is compared as 1",
          ":2: warning: [1o.0.0.1-10.0.0.1] compares each",
          ":3: warning: [10.0.1*.*] has the octet `1*`"}},
        {ACCEPTED, "10.0.0.5\r10.0.0.6\r\n", 2, {":1: error: ends in CR alone"}},
        {ACCEPTED,
         "10.0.0.005\r\n10.0.0.9-10.0.0.5\r\n1.*.3.*-\r\n10.0.0.*\r\n;\r\n10.1.1."
         "1\r\n\r\n"
         "10.1.1.2\r\n",
         2,
         {":1: warning: [10.0.0.005] can match nobody",
          ":2: warning: [10.0.0.9-10.0.0.5] can match nobody: each octet",
          ":3: error: [1.*.3.*-] is malformed and ends the check",
          ":4: warning: 3 entries from here on are never read: a malformed",
          ": error: lets nobody in"}},
        {BANNED,
         "; spam\r\n10.*.0.*\r\n10.0.0.1\n\r\n1.1.1.1",
         2,
         {":3: error: ends in LF alone", ":1: warning: [; spam] bans nobody",
          ":2: warning: [10.*.0.*] can match nobody",
          ":3: warning: [10.0.0.1?] can match",
          ":5: warning: 1 entry from here on is never read: an empty line"}},
    });
    settings("");
    put(ACCEPTED, "1.*.3.*-\r\n");
    put(BANNED, "10.0.0.1\n");
    put(DOMAINS, "firm\r\n");
    EXPECT_EQ(1, status_of_all()) << "lists that are switched off: " << said;
}

TEST_F(Check, DomainsAndUsersThatAreNeverFound)
{
    judge({
        {DOMAINS, "", 2, {": error: has no line that means a domain"}},
        {DOMAINS,
         "\xFF\xFE"
         "f",
         2,
         {": error: cannot be read (it is in UTF-16): every domain is accepted"}},
        {DOMAINS,
         "firm.example\r\n\r\na.example,b.example,y\r\n@at.com,\r\n*.wild.com,\r\n"
         "http://x.com,\r\nta\tb.com,\r\n;no,\r\na b,",
         2,
         {":1: warning: [firm.example] never matches: there is no comma",
          (":3: warning: [a.example,b.example], all before the last comma, never "
           "matches: "
           "it is looked up as [a.exampleb.example]"),
          ":4: warning: [@at.com] never", ":5: warning: [*.wild.com] never",
          ":6: warning: [http://x.com] never matches: it is looked up as [http//x.com]",
          ":7: warning: [ta?b.com] never", ":8: warning: [;no] never",
          ":9: warning: [a b] never", ": error: has no line"}},
        {DOMAINS,
         "\xEF\xBB\xBF"
         "firm.example,\r\na.example,b.example\r\n",
         1,
         {":1: warning: [\xEF\xBB\xBF"
          "firm.example] never matches: it begins with a byte",
          ":2: warning: [b.example], after the last comma, is not looked at",
          ":3: warning: the line end at the end of the file lets the empty domain in"}},
        {USERS,
         "[USER0]\r\nID=a\r\n[USER01]\r\nID=b\r\n[USER 1]\r\nID=b\r\n[USERS2]\r\nID=b\r\n"
         "[USERS]\r\nCOUNT=2\r\n[user0]\r\nID=c\r\n[USER1]\r\nFULLEMAIL=<x@y>\r\n"
         "[USER3]\r\nID=b\r\n[OTHER]\r\n",
         1,
         {":3: warning: [USER01] is never found", ":5: warning: [USER 1] is never found",
          ":7: warning: [USERS2] is never",
          ":11: warning: [user0] is never found: an earl",
          ":14: warning: <x@y> is never found", ":16: warning: USER3 is never found"}},
    });
}

TEST_F(Check, AnswersForAClientAndItsMessage)
{
    put_all();
    put(ACCEPTED, "10.0.0.1 - 10.0.0.9\r\n192.168.1.*\r\n");
    put(BANNED, "1.1.1.1\r\n10.0.*.9\r\n");
    EXPECT_EQ(0, status("--address 192.168.1.20 --from 'B@c' --to Fax@OTHER.example"));
    EXPECT_EQ(
        "DATA/RAW/VALIDIPADDRESSES.TXT:2: note: the wildcard entry [192.168.1.*] "
        "accepts 192.168.1.20\n"
        "DATA/RAW/BADSMTPIPADDRESS.TXT: note: no entry bans 192.168.1.20\n"
        "DATA/RAW/TSUSERS.DAT:3: note: the sender <B@c> is the local user USER1\n"
        "DATA/RAW/TSUSERS.DAT: note: the recipient Fax@OTHER.example is no local "
        "user\n"
        "DATA/RAW/DOMAIN.DAT: note: no line accepts the domain [c] of the sender\n"
        "DATA/RAW/DOMAIN.DAT:2: note: the domain [other.example] of the recipient is "
        "accepted\n"
        "192.168.1.20 would be let in\nit need not log in\n"
        "a message from B@c to Fax@OTHER.example would be accepted\n",
        said);
    EXPECT_EQ(1, status("--address 10.0.0.8 --from b@c --to x@d"));
    EXPECT_TRUE(said.ends_with("a message from b@c to x@d would be refused\n")) << said;
    EXPECT_EQ(1, status("--address 10.0.0.9"));
    EXPECT_NE(std::string::npos,
              said.find("TXT:2: note: the wildcard entry [10.0.*.9] bans 10.0.0.9\n"));
    EXPECT_EQ(1, status("--address 10.0.0.10"));
    EXPECT_EQ(2, status("--address 10.0.0.05 2>/dev/null"));
    settings("SMTPAUTHENTICATION=1\r\n");
    EXPECT_EQ(0, status("--address 10.0.0.10 --from x --to y")) << "no list is asked";
    EXPECT_NE(std::string::npos, said.find("it must log in")) << said;
    ASSERT_EQ(0, rmdir(path("qlnemails").c_str()));
    EXPECT_EQ(1, status("--address 10.0.0.10 --from x --to y")) << said;
}

TEST_F(Check, LoginsThatAreNeverRightOrWeakOrSlow)
{
    put_all();
    settings("SMTPAUTHENTICATION=1\r\n");
    EXPECT_EQ(1, status_of_all());
    EXPECT_NE(std::string::npos, said.find("warning: SMTPAUTHENTICATION=1 without"));
    settings("ESMTP=1\r\n");
    EXPECT_EQ(1, status_of_all());
    EXPECT_NE(std::string::npos, said.find("is missing: any password is taken")) << said;

    const std::string file = "DATA/RAW/SMTPLOGINS.DAT", digest(86, 'x');
    put(file, "locked:!$6$x$" + digest + "\nplain:secret\r\nno colon\n:$6$x$" + digest +
                  "\ncut:$6$x$xx\nother:$9$x$x\n");
    ASSERT_EQ(0, chmod(path(file).c_str(), 0644));
    EXPECT_EQ(2, status_of_all());
    std::vector<std::string> expected = {
        ": warning: every user of this machine may read it",
        ":2: warning: [plain] can never log in: its hash does not begin",
        ":3: warning: can match nobody: there is no colon",
        ":4: warning: can match nobody: there is no name",
        ":5: warning: [cut] can never log in: its hash is cut off",
        ":6: warning: [other] can never log in: its hash is of no known kind",
        ": error: has no line that somebody can log in with"};
    for (std::string &finding : expected) {
        finding.insert(0, file);
    }
    EXPECT_EQ(expected, warnings(expected)) << said;

    put(file, "good:$6$x$" + digest + "\nweak:$1$x$" + digest.substr(0, 22) +
                  "\nslow:$2b$12$" + digest.substr(0, 53) + "\ngood:$6$x$" + digest +
                  "\nso-so:$y$j9T$x$" + digest.substr(0, 43) + "\n");
    ASSERT_EQ(0, chmod(path(file).c_str(), 0640));
    EXPECT_EQ(1, status_of_all());
    expected = {":2: warning: [weak] has a weak hash",
                ":3: warning: [slow] has a slow hash",
                ":4: warning: [good] is never looked at: line 1"};
    for (std::string &finding : expected) {
        finding.insert(0, file);
    }
    EXPECT_EQ(expected, warnings(expected)) << said;
    EXPECT_NE(std::string::npos, said.find("about 18 ms")) << said;
}
