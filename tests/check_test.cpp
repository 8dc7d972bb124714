// What qlnsmtp-check says about an installation directory.

#include "installation.h"

#include <cstdlib>
#include <sstream>

#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>

constexpr char ITS_SETTINGS[] = "data/raw/qlnxserver.dat"; // as findings name it

class Check : public Installation
{
  protected:
    // A healthy installation with every list switched on.
    Check()
    {
        put(ACCEPTED, ";office\r\n10.0.0.5\r\n10.0.0.8-10.0.0.9\r\n");
        put(BANNED, "10.9.9.9\r\n");
        put(USERS, "[USER0]\r\nID=a\r\n[USER1]\r\nFULLEMAIL=b@c\r\n");
        put(DOMAINS, "firm.example,1\r\nother.example");
        set("");
    }
    void set(const std::string &lines)
    {
        settings("ACCEPTVALIDADDRESSONLY=1\r\nSMTPIPBLOCK=1\r\nUSEDOMAINS=1\r\n" + lines);
    }
    // Runs the program, about the user who runs the tests, so that root is not warned of
    // itself: its exit status, and what it says in `said`.
    int status(const std::string &arguments = "")
    {
        const std::string command = QLNSMTP_CHECK " --user " +
                                    std::string(getpwuid(geteuid())->pw_name) + " " +
                                    path("") + " " + arguments + " >said";
        const int result = system(command.c_str());
        said = content("said");
        return WEXITSTATUS(result);
    }
    void tells(int expected, const std::string &arguments, const std::string &text)
    {
        EXPECT_EQ(expected, status(arguments)) << said;
        EXPECT_NE(std::string::npos, said.find(text)) << said;
    }
    // All findings but the notes begin like this, after the file's name.
    void finds(const std::string &file, const Lines &findings)
    {
        status();
        size_t count = 0;
        std::istringstream lines(said);
        for (std::string line; std::getline(lines, line);) {
            if (line.find("note: ") == std::string::npos) {
                EXPECT_TRUE(count < findings.size() &&
                            line.starts_with(file + findings[count]))
                    << said;
                count++;
            }
        }
        EXPECT_EQ(findings.size(), count) << said;
    }
    void finds_in(const std::string &file, const std::string &bytes,
                  const Lines &findings)
    {
        const std::string sound = content(file);
        put(file, bytes);
        finds(file, findings);
        put(file, sound);
    }
    std::string said;
};

TEST_F(Check, AHealthyInstallationIsFoundHealthyRunningOrNot)
{
    set("SocketTimeout=60\r\nMAXSIZE=5\r\n[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=0\r\n"
        "[OTHER]\r\nx=y\r\nx=y\r\n");
    EXPECT_EQ(0, status());
    EXPECT_EQ("", said);
    start();
    tells(0, "", "0.0.0.0: the server is running\n");
    ASSERT_EQ(0, rename("LOGS", "LOGS2"));
    tells(2, "", "another installation's");
}

TEST_F(Check, TellsWhatAUserMayNotDoAndNamesThatAreThereTwice)
{
    const std::pair<const char *, mode_t> modes[] = {
        {"", 0755}, {"DATA", 0755}, {"mailin", 0777}, {"pending", 0775}};
    for (const auto &[name, mode] : modes) {
        ASSERT_EQ(0, chmod(path(name).c_str(), mode));
    }
    tells(2, "--user nobody", "pending: error: cannot be written");
    EXPECT_EQ(std::string::npos, said.find("mailin: ")) << said;
    EXPECT_EQ(2, status("--user no-such-user 2>/dev/null"));

    ASSERT_EQ(0, rmdir("mailin"));
    put("DATA/RAW/domain.dat", "");
    finds("",
          {"mailin: error: is missing", std::string(DOMAINS) + ": warning: is there 2"});
}

TEST_F(Check, SettingsThatAreNotReadAsTheySeem)
{
    settings(
        "Colour=red\r\nMINSIZE=4096\r\nFULLDETAIL=1x\r\nSYNCSPOOL=no\r\nLOGONLY=0\r\n"
        "logonly=1\r\nSHOWAUTHENTICATEDETAILS=1\r\nUSEDOMAIN=1\r\n[qlnsmtp]\r\n"
        "FULLDETAIL=1x\r\n");
    finds(ITS_SETTINGS, {":4: warning: Colour is not a setting",
                         ":5: error: MINSIZE=4096 is out of range",
                         ":6: error: FULLDETAIL=1x is not a number: it reads as 1",
                         ":7: error: SYNCSPOOL=no is not a number",
                         ":9: warning: LOGONLY is set a second",
                         ":10: warning: SHOWAUTHENTICATEDETAILS is not read here",
                         ":12: warning: [qlnsmtp] stands",
                         ": warning: MINSIZE (4096) must", ": warning: USEDOMAIN only"});
    put(SETTINGS, "[QLNSMTP]\r\nport=2600\r\nIPADDR=203.0.113.9\r\n");
    tells(1, "", ": IPADDR=203.0.113.9 is ");
    put(SETTINGS, "\xFF\xFE[Q");
    tells(2, "", "(it is in UTF-16): the server does not start");
    put(SETTINGS, "[QLNSMTP]\rport=abc\r");
    tells(2, "", "note: its lines end in CR alone");
    EXPECT_NE(std::string::npos, said.find(":2: error: port=abc is not a number"));
}

TEST_F(Check, EntriesThatMeanOthersThanTheySeem)
{
    for (const char *sound : {"0.0.0.*-255.255.255.*", "192.168.*.10-192.168.*.20",
                              "10.0.0.0-10.0.5.255\r\n010.1.0.1 - 10.1.0.9\r\n"}) {
        finds_in(ACCEPTED, sound, {});
    }
    const std::string each = " compares each octet by itself: it does not ";
    finds_in(ACCEPTED, "10.0.0.10-10.0.5.20\r\n10.*.*.*-20.*.*.*\r\n",
             {":1: warning: [10.0.0.10-10.0.5.20]" + each + "let in 10.0.1.21, which",
              ":2: error: [10.*.*.*-20.*.*.*] lets in ev"});
    finds_in(ACCEPTED, "10.0.0.005\r\n10.0.0.*-10.0.5.9\r\n",
             {":1: warning: [10.0.0.005] can match nobody",
              ":2: warning: [10.0.0.*-10.0.5.9] lets in more than meant: an octet"});
    finds_in(ACCEPTED, "10.0.0.5-10.0.0.*",
             {":1: warning: [10.0.0.5-10.0.0.*] lets in more than meant: its lower"});
    finds_in(ACCEPTED, "10.0.0.1-1o.0.0.1\r\n1o.0.0.1-10.0.0.1\r\n10.0.1*.*",
             {":1: warning: [10.0.0.1-1o.0.0.1] can match nobody",
              ":2: warning: [1o.0.0.1-10.0.0.1] has the octet `1o`, which is no number "
              "from 0 to 255: it is compared as 1",
              ":2: warning: [1o.0.0.1-10.0.0.1] compares each",
              ":3: warning: [10.0.1*.*] has the octet `1*`"});
    finds_in(ACCEPTED, "10.0.0.5\r10.0.0.6\r\n", {":1: error: ends in CR alone"});
    finds_in(ACCEPTED,
             "10.0.0.9-10.0.0.5\r\n1.*.3.*-\r\n10.0.0.*\r\n;\r\n10.1.1.1\r\n\r\n"
             "10.1.1.2\r\n",
             {":1: warning: [10.0.0.9-10.0.0.5] can match nobody: each octet",
              ":2: error: [1.*.3.*-] is malformed and ends the check",
              ":3: warning: 3 entries from here on are never read: a malformed",
              ": error: lets nobody in"});
    finds_in(BANNED,
             "; spam\r\n10.*.0.*\r\n10.0.0.200-10.0.1.220\r\n10.0.0.200-10.0.1.255\r\n"
             "10.0.0.1\n\r\n1.1.1.1",
             {":5: error: ends in LF alone", ":1: warning: [; spam] bans nobody",
              ":2: warning: [10.*.0.*] can match nobody",
              ":3: warning: [10.0.0.200-10.0.1.220]" + each + "ban 10.0.0.221, which",
              ":4: warning: [10.0.0.200-10.0.1.255]" + each + "ban 10.0.1.199, which",
              ":5: warning: [10.0.0.1?] can match",
              ":7: warning: 1 entry from here on is never read: an empty line"});
    settings("");
    put(ACCEPTED, "1.*.3.*-\r\n");
    put(BANNED, "10.0.0.1\n");
    put(DOMAINS, "firm\r\n");
    EXPECT_EQ(1, status()) << "lists that are switched off: " << said;
}

TEST_F(Check, DomainsAndUsersThatAreNeverFound)
{
    finds_in(DOMAINS, "", {": error: has no line that means a domain"});
    finds_in(DOMAINS, "\xFF\xFE",
             {": error: cannot be read (it is in UTF-16): every domain is accepted"});
    finds_in(
        DOMAINS,
        "\xEF\xBB\xBFx.y,\r\nfirm.example\r\n\r\na.example,b.example,y\r\n@at.com,\r\n"
        "*.wild.com,\r\nhttp://x.com,\r\nta\tb.com,\r\n;no,\r\na b,",
        {":1: warning: [\xEF\xBB\xBFx.y] never matches: it begins with a byte",
         ":2: warning: [firm.example] never matches: there is no comma",
         ":4: warning: [a.example,b.example], all before the last comma, never",
         ":5: warning: [@at.com] never", ":6: warning: [*.wild.com] never",
         ":7: warning: [http://x.com] never matches: it is looked up as [http//x",
         ":8: warning: [ta?b.com] never", ":9: warning: [;no] never",
         ":10: warning: [a b] never", ": error: has no line"});
    finds_in(DOMAINS, "a.example,b.example\r\n",
             {":1: warning: [b.example], after the last comma, is not looked at",
              ":2: warning: the line end at the end of the file lets the empty"});
    finds_in(
        USERS,
        "[USER0]\r\nID=a\r\n[USER01]\r\nID=b\r\n[USER 1]\r\nID=b\r\n[USERS2]\r\n"
        "ID=b\r\n[USERS]\r\nCOUNT=2\r\n[user0]\r\nID=c\r\n[USER1]\r\n"
        "FULLEMAIL=<x@y>\r\n[USER3]\r\nID=b\r\n[OTHER]\r\n",
        {":3: warning: [USER01] is never found", ":5: warning: [USER 1] is never",
         ":7: warning: [USERS2] is never", ":11: warning: [user0] is never found: an",
         ":14: warning: <x@y> is never found", ":16: warning: USER3 is never found"});
}

TEST_F(Check, AnswersForAClientAndItsMessage)
{
    put(ACCEPTED, "10.0.0.1 - 10.0.0.9\r\n192.168.1.*\r\n");
    put(BANNED, "1.1.1.1\r\n10.0.*.9\r\n");
    EXPECT_EQ(0, status("--address 192.168.1.20 --from 'B@c' --to Fax@OTHER.example"));
    EXPECT_EQ(
        "DATA/RAW/VALIDIPADDRESSES.TXT:2: note: the wildcard entry [192.168.1.*] "
        "accepts 192.168.1.20\n"
        "DATA/RAW/BADSMTPIPADDRESS.TXT: note: no entry bans 192.168.1.20\n"
        "DATA/RAW/TSUSERS.DAT:3: note: the sender <B@c> is the local user USER1\n"
        "DATA/RAW/TSUSERS.DAT: note: the recipient Fax@OTHER.example is no local user\n"
        "DATA/RAW/DOMAIN.DAT: note: no line accepts the domain [c] of the sender\n"
        "DATA/RAW/DOMAIN.DAT:2: note: the domain [other.example] of the recipient is "
        "accepted\n"
        "192.168.1.20 would be let in\nit need not log in\n"
        "a message from B@c to Fax@OTHER.example would be accepted\n",
        said);
    tells(1, "--address 10.0.0.8 --from b@c --to x@d",
          "from b@c to x@d would be refused\n");
    tells(1, "--address 10.0.0.9", "TXT:2: note: the wildcard entry [10.0.*.9] bans 10.");
    EXPECT_EQ(1, status("--address 10.0.0.10"));
    EXPECT_EQ(2, status("--address 10.0.0.05 2>/dev/null"));
    settings("SMTPAUTHENTICATION=1\r\n"); // no list is asked
    tells(0, "--address 10.0.0.10 --from x --to y", "it must log in");
    ASSERT_EQ(0, rmdir("qlnemails"));
    EXPECT_EQ(1, status("--address 10.0.0.10 --from x --to y")) << said;
}

TEST_F(Check, LoginsThatAreNeverRightOrWeakOrSlow)
{
    set("SMTPAUTHENTICATION=1\r\n");
    finds(ITS_SETTINGS, {": warning: SMTPAUTHENTICATION=1 without"});
    set("ESMTP=1\r\n");
    finds(LOGINS, {": warning: is missing: any password is taken"});

    const std::string digest(86, 'x');
    put(LOGINS, "");
    ASSERT_EQ(0, chmod(LOGINS, 0644));
    finds_in(LOGINS,
             "locked:!$6$x$" + digest + "\nplain:secret\r\nno colon\n:$6$x$" + digest +
                 "\ncut:$6$x$xx\nother:$9$x$x\n",
             {": warning: every user of this machine may read it",
              ":2: warning: [plain] can never log in: its hash does not begin",
              ":3: warning: can match nobody: there is no colon",
              ":4: warning: can match nobody: there is no name",
              ":5: warning: [cut] can never log in: its hash is cut off",
              ":6: warning: [other] can never log in: its hash is of no known kind",
              ": error: has no line that somebody can log in with"});
    ASSERT_EQ(0, chmod(LOGINS, 0640));
    finds_in(LOGINS,
             "good:$6$x$" + digest + "\nweak:$1$x$" + digest.substr(0, 22) +
                 "\nslow:$2b$12$" + digest.substr(0, 53) + "\ngood:$6$x$" + digest +
                 "\nso-so:$y$j9T$x$" + digest.substr(0, 43) + "\n",
             {":2: warning: [weak] has a weak hash",
              ":3: warning: [slow] has a slow hash",
              ":4: warning: [good] is never looked at: line 1"});
    EXPECT_NE(std::string::npos, said.find("about 18 ms")) << said;
}
