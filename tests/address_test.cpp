// Addresses: what the domain checks make of a text, and the lists they are looked up in.

#include "core/settings.h"
#include "spool/address.h"
#include "spool/domains.h"
#include "spool/local_users.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

// An installation's lists without a server: the working directory is the installation.
class Addresses : public testing::Test
{
  protected:
    Addresses() : before_(fs::current_path())
    {
        char name[] = "/tmp/qln-test-XXXXXX";
        directory_ = mkdtemp(name);
        fs::create_directories(directory_ / "data/RAW");
        fs::current_path(directory_);
        settings_flush();
        settings_locate();
    }
    ~Addresses() override
    {
        fs::current_path(before_);
        fs::remove_all(directory_);
    }
    void put(const std::string &name, const std::string &bytes)
    {
        std::ofstream("data/RAW/" + name, std::ios::binary) << bytes;
        settings_flush();
    }
    std::string settings() const
    {
        std::ifstream file("data/RAW/qlnxserver.dat", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string cleaned(const std::string &text, int result = 1)
    {
        char buffer[512] = "";
        text.copy(buffer, sizeof buffer - 1);
        EXPECT_EQ(result, clean_address(buffer)) << text;
        return buffer;
    }

  private:
    fs::path before_, directory_;
};

TEST_F(Addresses, AreReducedToABareAddressInLowerCase)
{
    const struct {
        const char *given, *cleaned;
    } cases[] = {
        {"<Anna@Firm.Example>", "anna@firm.example"},
        {"  Anna@Firm.Example", "anna@firm.example"},
        {"\xC4nna@B", "\xC4nna@b"}, // letter case of ASCII only
        {"\"Anna B.\" <a@b>", "a@b"},
        {"\"one\"<x>\"two\"\"three\" <a@b>", "x"},
        {"\"one\" \"two\" \"three\" <a@b>", "a@b"},
        {"pre\"one\"mid\"two\"post", "midpost"},
        {"pre\"one\"mid\"behind", "mid"},
        {"a\"b@c", "a\"b@c"},
        {"\"a@b\"", ""},
        {"a\tb@c", "a\tb@c"},
        {"a\tb @\x7F"
         "c",
         "ab@c"},
        {"<mailto:a@b>", "a@b"},
        {"x<MailTo:a@b>", "a@b"},
        {"see mailto:a@b", "a@b"},
        {"<mailto:mailto:a@b>", "a@b"},
        {"<a@b", "a@b"},
        {"x>y<a@b>", "xya@b"},
        {"<a@b> <c@d>", "a@b"},
        {"<>", ""},
        {"a@b (Anna)", "a@b"},
        {"(Anna)a@b", "annaa@b"},
        {"(Anna)a@b(B)", "annaa@bb"},
        {"anna (B) c", "anna"},
        {"a@b)", "a@b"},
        {"a@b, c@d;e:f", "a@bc@def"},
        {",,,", ""},
        {"!#$%^&*{}'?+=\\~`a@b", "a@b"},
        {"o'neil@b", "oneil@b"},
        {"~~~", "~~~"},
        {"???", "???"},
        {"\\~", "~"}, // each goes unless nothing would be left
        {"```", ""},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(one.cleaned, cleaned(one.given)) << one.given;
    }
    EXPECT_EQ("", cleaned("", 0));
}

TEST_F(Addresses, LoseTheCharactersTheSettingNames)
{
    EXPECT_EQ("", cleaned("", 0));
    EXPECT_FALSE(fs::exists("data/RAW/qlnxserver.dat"));
    EXPECT_EQ("a@b", cleaned("a+@b"));
    EXPECT_NE(std::string::npos,
              settings().find("[Environment]\r\nbadaddrchars=!#$%^&*{}'?+=`\r\n"));

    put("qlnxserver.dat", "[QLNSMTP]\r\nbadaddrchars=-xY\r\n");
    EXPECT_EQ("a+x@b", cleaned("a-+x@b~\\y")); // it is compared in capitals
    put("qlnxserver.dat", "[QLNSMTP]\r\nbadaddrchars=\r\n");
    EXPECT_EQ("a+?@b", cleaned("a+?@b~\\"));
    EXPECT_EQ("[QLNSMTP]\r\nbadaddrchars=\r\n", settings());
}

TEST_F(Addresses, AreLookedUpAmongTheUsers)
{
    EXPECT_EQ(USER_UNKNOWN, find_local_user("anna@firm.example", 0)); // no such file
    const std::string longest(511, 'u');
    std::string users = "[USER0]\r\nFULLEMAIL=Anna@Firm.Example\r\nUSERACTIVE=1\r\n"
                        "[user1]\r\nfullemail=\r\nid=anna\r\nuseractive=0\r\n"
                        "[USER2]\r\nID=carl\r\nFULLEMAIL=c@d\r\n"
                        "[USER3]\r\nFULLEMAIL=anna@firm.example\r\nUSERACTIVE=0\r\n"
                        "[USER4]\r\nFULLEMAIL=" +
                        longest + "\r\nUSERACTIVE=-1\r\n";
    put("tsusers.dat", users + "[USER6]\r\nFULLEMAIL=late@firm.example\r\n");
    const struct {
        std::string address;
        int result;
    } cases[] = {
        {"aNNa@firm.exAmple", USER_ACTIVE},
        {"<anna@firm.example>", USER_ACTIVE},
        {"<anna@firm.example", USER_UNKNOWN},
        {"anna@firm.example>", USER_UNKNOWN},
        {"Anna", USER_INACTIVE},
        {"c@d", USER_INACTIVE},
        {"carl", USER_UNKNOWN}, // the address counts where there is one
        {longest, USER_ACTIVE},
        {longest + "u", USER_UNKNOWN},
        {"late@firm.example", USER_UNKNOWN}, // behind a gap
        {"", USER_UNKNOWN},
        {"<>", USER_UNKNOWN},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(one.result, find_local_user(one.address.c_str(), 1)) << one.address;
    }
    // A change is seen at once, and no more than 999 sections are looked at.
    for (int n = 5; n < 1000; n++) {
        users += "[USER" + std::to_string(n) + "]\nID=" + std::to_string(n) + "\n";
    }
    put("tsusers.dat", users);
    EXPECT_EQ(USER_INACTIVE, find_local_user("998", 0));
    EXPECT_EQ(USER_UNKNOWN, find_local_user("999", 0));
}

TEST_F(Addresses, AreAcceptedByTheirDomain)
{
    EXPECT_EQ(1, domain_is_accepted("any.example")); // no such file
    const std::string longest(511, 'd');
    put("domain.dat", "Firm.Example,1\r\nwith,commas,2\nbare.example\r\n" + longest +
                          ",3\r\nlast.example");
    const struct {
        std::string domain;
        int accepted;
    } cases[] = {
        {"firm.eXample", 1}, {"with,commas", 1}, {"with", 0}, {"bare.example", 0},
        {"last.example", 1}, {"last.exampl", 0}, {"", 1},     {longest, 1},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(one.accepted, domain_is_accepted(one.domain.c_str())) << one.domain;
    }
    put("domain.dat", "firm.example,1\r\nlast.example");
    EXPECT_EQ(0, domain_is_accepted(""));
    EXPECT_EQ(0, domain_is_accepted("with,commas"));
    put("domain.dat", "firm.example,1\r\n"); // the read at its end leaves an empty line
    EXPECT_EQ(1, domain_is_accepted(""));
    put("domain.dat", "");
    EXPECT_EQ(1, domain_is_accepted(""));
    EXPECT_EQ(0, domain_is_accepted("firm.example"));
}
