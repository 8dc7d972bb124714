// What qlnsmtp-check says about an installation directory.

#include "installation.h"

#include <algorithm>
#include <cstdlib>

#include <sys/wait.h>

class Check : public Installation
{
  protected:
    // Runs the program; its exit status, and what it says in `said`.
    int status(const std::string &arguments = "")
    {
        const std::string command = QLNSMTP_CHECK " " + path("") + " " + arguments;
        const int result = system((command + " >" + path("said")).c_str());
        said = "\n" + content("said");
        return WEXITSTATUS(result);
    }
    void says(const std::string &file, const std::vector<std::string> &findings)
    {
        for (const std::string &finding : findings)
            EXPECT_NE(std::string::npos, said.find("\n" + (file + finding)))
                << finding << said;
    }
    std::string said;
};

TEST_F(Check, FindsSettingsDirectoriesAndAPortThatDoNotServeAndNothingElse)
{
    put("DATA/RAW/VALIDIPADDRESSES.TXT", ";office\r\n10.0.0.5\r\n10.0.0.8-10.0.0.9\r\n");
    put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nID=a\r\n[USER1]\r\nFULLEMAIL=b@c\r\n");
    put("DATA/RAW/DOMAIN.DAT", "firm.example,1\r\nother.example");
    settings("SocketTimeout=60\r\nMAXSIZE=5\r\nACCEPTVALIDADDRESSONLY=1\r\n"
             "[SMTPSRV]\r\nSHOWAUTHENTICATEDETAILS=0\r\n[OTHER]\r\nx=y\r\n");
    EXPECT_EQ(0, status());
    EXPECT_EQ("\n", said);
    EXPECT_EQ(2, status("--address 10.0.0.05 2>/dev/null"));
    const std::string file = "data/raw/qlnxserver.dat:";
    settings("Colour=red\r\n");
    EXPECT_EQ(1, status());
    EXPECT_EQ("\n" + file + "4: warning: Colour is not a setting of the server\n", said);
    settings("MINSIZE=4096\r\nFULLDETAIL=1x\r\nSYNCSPOOL=no\r\n");
    start();
    ASSERT_EQ(0, rmdir(path("mailin").c_str()));
    EXPECT_EQ(2, status());
    says(file, {"4: error: MINSIZE=4096 is out of range",
                "5: error: FULLDETAIL=1x is not a number: it reads as 1",
                "6: error: SYNCSPOOL=no is not a number"});
    says("mailin: error: ", {"is missing"});
    says("warning: port ", {std::to_string(port_) + " of 0.0.0.0 is taken"});
}

TEST_F(Check, FindsEntriesThatMatchNobodyOrAreNeverRead)
{
    put("DATA/RAW/VALIDIPADDRESSES.TXT", "10.0.0.005\r\n10.0.0.9-10.0.0.5\r\n1.*.3.*-\r\n"
                                         "10.0.0.*\r\n;\r\n10.1.1.1\r\n\r\n10.1.1.2\r\n");
    put("DATA/RAW/BADSMTPIPADDRESS.TXT", "; spam\r\n10.*.0.*\r\n10.0.0.1\n\r\n1.1.1.1");
    put("DATA/RAW/TSUSERS.DAT", "[USER0]\r\nID=a\r\n[USER2]\r\nID=b\r\n");
    put("DATA/RAW/DOMAIN.DAT", "firm.example\r\n\r\na.example,x,y\r\nz.example");
    EXPECT_EQ(2, status());
    says("DATA/RAW/VALIDIPADDRESSES.TXT:",
         {"1: warning: [10.0.0.005] can match nobody",
          "2: warning: [10.0.0.9-10.0.0.5] can match nobody: each octet",
          "3: error: [1.*.3.*-] is malformed and ends the check",
          "4: warning: 3 entries from here on are never read: a malformed"});
    says("DATA/RAW/BADSMTPIPADDRESS.TXT:",
         {"1: warning: [; spam] bans nobody", "2: warning: [10.*.0.*] can match nobody",
          "3: error: ends in LF alone",
          "5: warning: 1 entry from here on is never read: an empty line"});
    says("DATA/RAW/", {"TSUSERS.DAT:4: warning: USER2 is never found",
                       "DOMAIN.DAT:1: warning: [firm.example] never matches",
                       "DOMAIN.DAT:3: warning: [a.example,x]"});
    EXPECT_EQ(13, std::count(said.begin(), said.end(), '\n')) << said;
}

TEST_F(Check, SaysWhetherAClientWouldBeLetInAndWhy)
{
    put("DATA/RAW/VALIDIPADDRESSES.TXT", "10.0.0.1 - 10.0.0.9\r\n192.168.1.*\r\n");
    put("DATA/RAW/BADSMTPIPADDRESS.TXT", "1.1.1.1\r\n10.0.*.9\r\n");
    EXPECT_EQ(0, status("--address 10.0.0.9")) << "neither list is asked";
    settings("ACCEPTVALIDADDRESSONLY=1\r\nSMTPIPBLOCK=1\r\n");
    EXPECT_EQ(0, status("--address 192.168.1.20"));
    EXPECT_EQ("\nDATA/RAW/VALIDIPADDRESSES.TXT:2: note: the wildcard entry [192.168.1.*] "
              "accepts 192.168.1.20\n"
              "DATA/RAW/BADSMTPIPADDRESS.TXT: note: no entry bans 192.168.1.20\n"
              "192.168.1.20 would be let in\n",
              said);
    EXPECT_EQ(1, status("--address 10.0.0.9"));
    says("DATA/RAW/BADSMTPIPADDRESS.TXT:2: note: ",
         {"the wildcard entry [10.0.*.9] bans 10.0.0.9\n"});
    EXPECT_EQ(1, status("--address 10.0.0.10"));
}
