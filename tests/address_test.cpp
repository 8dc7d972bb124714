// Addresses: what the domain checks make of a text, and the lists they are looked up in.

#include "core/settings.h"
#include "installation.h"
#include "spool/address.h"
#include "spool/domains.h"
#include "spool/local_users.h"

#include <filesystem>

using namespace std::string_literals;

// An installation's lists without a server: the working directory is the installation.
class Addresses : public Installation
{
  protected:
    Addresses()
    {
        std::filesystem::current_path(path(""));
        settings_flush();
        settings_locate();
    }
    ~Addresses() override
    {
        std::filesystem::current_path("/");
    }
    void list(const std::string &name, const std::string &bytes)
    {
        put("DATA/RAW/" + name, bytes);
        settings_flush();
    }
    // What is left of each text, with a bar behind it.
    static std::string cleaned(const std::vector<std::string> &texts)
    {
        std::string all;
        for (const std::string &text : texts) {
            char buffer[512] = "";
            text.copy(buffer, sizeof buffer - 1);
            EXPECT_EQ(text.empty() ? 0 : 1, clean_address(buffer)) << text;
            all += buffer + "|"s;
        }
        return all;
    }
};

TEST_F(Addresses, AreReducedToABareAddressInLowerCase)
{
    EXPECT_EQ("anna@firm.example|anna@b|a\tb@c|ab@\xC4|",
              cleaned({"<Anna@Firm.Example>", "  Anna@B", "a\tb@c", "a\tb @\x7F\xC4"}));
    EXPECT_EQ("a@b|x|a@b|midpost|mid|a\"b@c||",
              cleaned({R"("Anna B." <a@b>)", R"("one"<x>"two""three" <a@b>)",
                       R"("one" "two" "three" <a@b>)", R"(pre"one"mid"two"post)",
                       R"(pre"one"mid"behind)", R"(a"b@c)", R"("a@b")"}));
    EXPECT_EQ("a@b|a@b|a@b|a@b|xya@b|a@b||",
              cleaned({"<mailto:mailto:a@b>", "x<MailTo:a@b>", "see mailto:a@b", "<a@b",
                       "x>y<a@b>", "<a@b> <c@d>", "<>"}));
    EXPECT_EQ("annaa@b|annaa@bb|anna|a@b|",
              cleaned({"(Anna)a@b", "(Anna)a@b(B)", "anna (B) c", "a@b)"}));
    // Each character goes unless nothing would be left.
    EXPECT_EQ("a@b|a@bc@def||~~~|???|~|||",
              cleaned({"!#$%^&*{}'?+=\\~`a@b", "a@b, c@d;e:f", ",,,", "~~~", "???", "\\~",
                       "```", ""}));

    // The setting is written when it is missing, and compared in capitals.
    list("QLNXSERVER.DAT", "");
    EXPECT_EQ("a@b|", cleaned({"a+@b"}));
    EXPECT_EQ("[Environment]\r\nbadaddrchars=!#$%^&*{}'?+=`\r\n",
              content("DATA/RAW/QLNXSERVER.DAT"));

    list("QLNXSERVER.DAT", "[QLNSMTP]\r\nbadaddrchars=-xY\r\n");
    EXPECT_EQ("a+x@b|", cleaned({"a-+x@b~\\y"}));
    list("QLNXSERVER.DAT", "[QLNSMTP]\r\nbadaddrchars=\r\n");
    EXPECT_EQ("a+?@b|", cleaned({"a+?@b~\\"}));
    EXPECT_EQ("[QLNSMTP]\r\nbadaddrchars=\r\n", content("DATA/RAW/QLNXSERVER.DAT"));
}

TEST_F(Addresses, AreLookedUpAmongTheUsers)
{
    EXPECT_EQ(USER_UNKNOWN, find_local_user("anna@firm.example", 0)); // no such file
    const std::string longest(511, 'u'), too_long(512, 'u');
    std::string users = "[USER0]\r\nFULLEMAIL=Anna@Firm.Example\r\nUSERACTIVE=1\r\n"
                        "[user1]\r\nfullemail=\r\nid=anna\r\nuseractive=0\r\n"
                        "[USER2]\r\nID=carl\r\nFULLEMAIL=c@d\r\n"
                        "[USER3]\r\nFULLEMAIL=anna@firm.example\r\nUSERACTIVE=0\r\n"
                        "[USER4]\r\nUSERACTIVE=-1\r\nFULLEMAIL=" +
                        longest + "\r\n";
    list("TSUSERS.DAT", users + "[USER6]\r\nFULLEMAIL=behind@gap\r\n");
    for (const char *address :
         {"aNNa@firm.exAmple", "<anna@firm.example>", longest.c_str()}) {
        EXPECT_EQ(USER_ACTIVE, find_local_user(address, 1)) << address;
    }
    EXPECT_EQ(USER_INACTIVE, find_local_user("Anna", 0));
    EXPECT_EQ(USER_INACTIVE, find_local_user("c@d", 0));
    for (const char *address : {"<anna@firm.example", "anna@firm.example>", "carl",
                                "behind@gap", "", "<>", too_long.c_str()}) {
        EXPECT_EQ(USER_UNKNOWN, find_local_user(address, 1)) << address;
    }
    // A change is seen at once, and no more than 999 sections are looked at.
    for (int n = 5; n < 1000; n++) {
        users += "[USER" + std::to_string(n) + "]\nID=" + std::to_string(n) + "\n";
    }
    list("TSUSERS.DAT", users);
    EXPECT_EQ(USER_INACTIVE, find_local_user("998", 0));
    EXPECT_EQ(USER_UNKNOWN, find_local_user("999", 0));
}

TEST_F(Addresses, AreAcceptedByTheirDomain)
{
    EXPECT_EQ(1, domain_is_accepted("any.example")); // no such file
    const std::string longest(511, 'd');
    list("DOMAIN.DAT", "Firm.Example,1\r\nwith,commas,2\nbare.example\r\n" + longest +
                           ",3\r\nlast.example");
    for (const char *domain :
         {"firm.eXample", "with,commas", "last.example", longest.c_str()}) {
        EXPECT_EQ(1, domain_is_accepted(domain)) << domain;
    }
    for (const char *domain : {"with", "bare.example", "last.exampl"}) {
        EXPECT_EQ(0, domain_is_accepted(domain)) << domain;
    }
    // The read at the end of a file leaves an empty line, and so does a line too long.
    EXPECT_EQ(1, domain_is_accepted(""));
    for (const char *lines : {"", "firm.example,1\r\n", "last.example"}) {
        list("DOMAIN.DAT", lines);
        EXPECT_EQ(lines == "last.example"s ? 0 : 1, domain_is_accepted("")) << lines;
        EXPECT_EQ(0, domain_is_accepted("with,commas")) << lines;
    }
}
