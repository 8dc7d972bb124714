// Addresses: what the domain checks make of a text, and the lists they are looked up in.

#include "installation.h"
#include "spool/address.h"
#include "spool/domains.h"
#include "spool/local_users.h"

using Addresses = Installation;

// What is left of each text, with a bar after it.
static std::string cleaned(const Lines &texts)
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

TEST_F(Addresses, AreReducedToABareAddressInLowerCase)
{
    EXPECT_EQ(
        "anna@firm.example|ab@\xC4|x|midpost|a\"b@c||a@b|a@b|xya@b||annaa@bb|anna|",
        cleaned({"<Anna@Firm.Example>", "ab@\xC4", R"("one"<x>"two""three"<a@b>)",
                 R"(pre"one"mid"two"post)", R"(a"b@c)", R"("a@b")", "<mailto:mailto:a@b>",
                 "<a@b", "x>y<a@b>", "<>", "(Anna)a@b(B)", "anna(B)c"}));
    // Each character goes unless nothing would be left.
    EXPECT_EQ("a@b|a@bc@def||~~~|???||",
              cleaned({"!#$%^&*{}'?+=\\~`a@b", "a@b,c@d;e:f", ",,,", "~~~", "???", ""}));

    // The setting is written when it is missing, and compared in capitals.
    put(SETTINGS, "");
    EXPECT_EQ("a@b|", cleaned({"a+@b"}));
    EXPECT_EQ("[Environment]\r\nbadaddrchars=!#$%^&*{}'?+=`\r\n", content(SETTINGS));
    put(SETTINGS, "[QLNSMTP]\r\nbadaddrchars=-xY\r\n");
    EXPECT_EQ("a+x@b|", cleaned({"a-+x@b~\\y"}));
    EXPECT_EQ("[QLNSMTP]\r\nbadaddrchars=-xY\r\n", content(SETTINGS));
}

TEST_F(Addresses, AreLookedUpAmongTheUsersAndDomains)
{
    EXPECT_EQ(USER_UNKNOWN, find_local_user("anna@firm.example", false)); // no such file
    put(USERS, "[USER0]\r\nFULLEMAIL=Anna@Firm.Example\r\nUSERACTIVE=1\r\n"
               "[user1]\r\nfullemail=\r\nid=bob\r\nuseractive=0\r\n"
               "[USER2]\r\nID=carl\r\nFULLEMAIL=c@d\r\n"
               "[USER4]\r\nFULLEMAIL=after@gap\r\n");
    EXPECT_EQ(USER_ACTIVE, find_local_user("<anna@firm.exAmple>", true));
    EXPECT_EQ(USER_INACTIVE, find_local_user("Bob", false));
    for (const char *address : {"<anna@firm.example", "carl", "after@gap", "", "<>"}) {
        EXPECT_EQ(USER_UNKNOWN, find_local_user(address, true)) << address;
    }

    std::string many;
    for (int i = 0; i < 1000; i++) {
        many += "[USER" + std::to_string(i) + "]\r\nID=u" + std::to_string(i) + "\r\n";
    }
    put(USERS, many);
    EXPECT_EQ(USER_INACTIVE, find_local_user("u998", 1));
    EXPECT_EQ(USER_UNKNOWN, find_local_user("u999", 1)) << "after the last looked at";

    EXPECT_EQ(1, domain_is_accepted("any.example")); // no such file
    put(DOMAINS, "Firm.Example,1\r\nwith,commas,2\nbare.example\r\n" + copies(511, "x") +
                     "rest.of.line,1\r\nlast.example");
    for (const char *domain :
         {"firm.eXample", "with,commas", "rest.of.line", "last.example"}) {
        EXPECT_EQ(1, domain_is_accepted(domain)) << domain;
    }
    for (const char *domain : {"with", "bare.example", "last.exampl", ""}) {
        EXPECT_EQ(0, domain_is_accepted(domain)) << domain;
    }
    put(DOMAINS, "ended.by.a.line.end,1\r\n");
    EXPECT_EQ(1, domain_is_accepted("")) << "after the line end";
}
