// What qlnsmtp-check says about an installation directory.

#include "installation.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sys/wait.h>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

class Check : public Installation
{
  protected:
    // Runs the program; its exit status, and its lines in `said`.
    int status(const std::string &arguments = "")
    {
        said.clear();
        const std::string command =
            std::string(QLNSMTP_CHECK) + " " + path("") + " " + arguments;
        FILE *output = popen(command.c_str(), "r");
        char line[2000];
        while (fgets(line, sizeof line, output) != nullptr) {
            said.emplace_back(line);
            said.back().pop_back();
        }
        return WEXITSTATUS(pclose(output));
    }
    bool says(const std::string &beginning) const
    {
        return std::any_of(said.begin(), said.end(), [&](const std::string &line) {
            return line.starts_with(beginning);
        });
    }

    Lines said;
};

TEST_F(Check, AFineInstallationHasNoFindings)
{
    put("DATA/RAW/VALIDIPADDRESSES.TXT", ";office\r\n10.0.0.5\r\n10.0.0.8-10.0.0.9\r\n");
    put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nID=a\r\n[USER1]\r\nFULLEMAIL=b@c\r\n");
    put("DATA/RAW/DOMAIN.DAT", "firm.example,1\r\nother.example");
    settings("SocketTimeout=60\r\nMAXSIZE=5\r\nACCEPTVALIDADDRESSONLY=1\r\n"
             "[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=0\r\n[OTHER]\r\nx=y\r\n");
    EXPECT_EQ(0, status());
    EXPECT_EQ(Lines{}, said);

    settings("Colour=red\r\n");
    EXPECT_EQ(1, status());
    EXPECT_EQ(Lines{"data/raw/qlnxserver.dat:4: warning: Colour is not a setting of the "
                    "server"},
              said);
    EXPECT_EQ(2, status("--adress 10.0.0.5 2>/dev/null"));
}

TEST_F(Check, FindsDirectoriesSettingsAndAPortThatDoNotServe)
{
    start();
    fs::remove(path("mailin"));
    put("DATA/RAW/QLNXSERVER.DAT",
        "[QLNSMTP]\r\nport=" + std::to_string(port_) +
            "\r\nbind=no\r\nMINSIZE=4096\r\nFULLDETAIL=1x\r\n");
    EXPECT_EQ(2, status());
    EXPECT_TRUE(says("mailin: error: is missing"));
    EXPECT_TRUE(says("data/raw/qlnxserver.dat:3: error: bind=no is not a number"));
    EXPECT_TRUE(says("data/raw/qlnxserver.dat:4: error: MINSIZE=4096 is out of range"));
    EXPECT_TRUE(
        says("data/raw/qlnxserver.dat:5: error: FULLDETAIL=1x is not a number: it "
             "reads as 1"));
    EXPECT_TRUE(says("warning: port " + std::to_string(port_) + " of 0.0.0.0 is taken"));

    put("DATA/RAW/QLNXSERVER.DAT", "[QLNSMTP]\r\nport=70000\r\nIPADDR=203.0.113.9\r\n"
                                   "[TCPIP]\r\nUSESAMEIPADDRESS=1\r\n");
    EXPECT_EQ(2, status());
    EXPECT_TRUE(says("data/raw/qlnxserver.dat:2: error: port=70000 is out of range"));
    settings("bind=1\r\nIPADDR=203.0.113.9\r\n[TCPIP]\r\nUSESAMEIPADDRESS=1\r\n");
    fs::create_directory(path("mailin"));
}

TEST_F(Check, FindsEntriesThatMatchNobodyOrAreNeverRead)
{
    put("DATA/RAW/VALIDIPADDRESSES.TXT", "10.0.0.005\r\n10.0.0.9-10.0.0.5\r\n1.*.3.*-\r\n"
                                         "10.0.0.*\r\n;\r\n10.1.1.1\r\n\r\n10.1.1.2\r\n");
    put("DATA/RAW/BADSMTPIPADDRESS.TXT", "; spam\r\n10.*.0.*\r\n10.0.0.1\n\r\n1.1.1.1");
    put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nID=a\r\n[USER2]\r\nID=b\r\n");
    put("DATA/RAW/DOMAIN.DAT", "firm.example\r\n\r\na.example,x,y\r\nz.example");
    EXPECT_EQ(2, status());

    const std::string accepted = "DATA/RAW/VALIDIPADDRESSES.TXT:";
    const std::string banned = "DATA/RAW/BADSMTPIPADDRESS.TXT:";
    for (const std::string &finding : {
             accepted + "1: warning: [10.0.0.005] can match nobody",
             accepted + "2: warning: [10.0.0.9-10.0.0.5] can match nobody: each octet",
             accepted + "3: error: [1.*.3.*-] is malformed and ends the check",
             accepted + "4: warning: 3 entries from here on are never read: a malformed",
             banned + "1: warning: [; spam] bans nobody",
             banned + "2: warning: [10.*.0.*] can match nobody",
             banned + "3: error: ends in LF alone",
             banned + "5: warning: 1 entry from here on is never read: an empty line",
             std::string("DATA/RAW/TSUSERS.DAT:4: warning: USER2 is never found"),
             std::string("DATA/RAW/DOMAIN.DAT:1: warning: [firm.example] never matches"),
             std::string("DATA/RAW/DOMAIN.DAT:3: warning: [a.example,x]"),
         })
        EXPECT_TRUE(says(finding)) << finding << "\n" << testing::PrintToString(said);
    EXPECT_EQ(12U, said.size()) << testing::PrintToString(said);
}

TEST_F(Check, SaysWhetherAClientWouldBeLetInAndWhy)
{
    put("DATA/RAW/VALIDIPADDRESSES.TXT", "10.0.0.1 - 10.0.0.9\r\n192.168.1.*\r\n");
    put("DATA/RAW/BADSMTPIPADDRESS.TXT", "1.1.1.1\r\n10.0.*.9\r\n");
    EXPECT_EQ(0, status("--address 10.0.0.9")) << "neither list is asked";

    settings("ACCEPTVALIDADDRESSONLY=1\r\nSMTPIPBLOCK=1\r\n");
    EXPECT_EQ(0, status("--address 192.168.1.20"));
    EXPECT_EQ((Lines{"DATA/RAW/VALIDIPADDRESSES.TXT:2: note: the wildcard entry "
                     "[192.168.1.*] accepts 192.168.1.20",
                     "DATA/RAW/BADSMTPIPADDRESS.TXT: note: no entry bans 192.168.1.20",
                     "192.168.1.20 would be let in"}),
              said);
    EXPECT_EQ(1, status("--address 10.0.0.9"));
    EXPECT_EQ("DATA/RAW/BADSMTPIPADDRESS.TXT:2: note: the wildcard entry [10.0.*.9] bans "
              "10.0.0.9",
              said.at(1));
    EXPECT_EQ(1, status("--address 10.0.0.10"));
    EXPECT_EQ("10.0.0.10 would be refused", said.back());
    EXPECT_EQ(2, status("--address 10.0.0.010 2>/dev/null"));
}
