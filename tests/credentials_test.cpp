// Who may log in: Base64, the file of names and hashes, addresses that guess.

#include "base/base64.h"
#include "installation.h"
#include "platform/file_contents.h"
#include "smtp/credentials.h"
#include "smtp/login_failures.h"

#include <ctime>
#include <filesystem>

TEST(Base64, IsDecodedWholeOrNotAtAll)
{
    const std::pair<const char *, std::string> table[] = {
        {"", ""},
        {"Zg==", "f"},
        {"Zm8=", "fo"},
        {"Zm9v", "foo"},
        {"+/+/", "\xFB\xFF\xBF"},
        {"AGEAYg==", std::string("\0a\0b", 4)},
    };
    char bytes[8];
    for (const auto &[text, expected] : table) {
        const int count = decode_base64(text, bytes);
        ASSERT_EQ(static_cast<int>(expected.size()), count) << text;
        EXPECT_EQ(expected, std::string(bytes, expected.size())) << text;
    }
    for (const char *text : {"Z", "Zg", "Zg=", "=", "====", "Z===", "Zg==Zg==", "Zm 9v",
                             "Zm9v ", "Zm-_", "Zm\xE4v"}) {
        EXPECT_EQ(-1, decode_base64(text, bytes)) << text;
    }
}

// The password of every hash is "secret".
constexpr char LOGINS[] =
    "locked:!$6$abcdefgh$ltjgWl6579NluT/Vi1nwEvcil.G5Nbc4NiXZaNGStk8PSwGfQv72N2CKPPrVACtL"
    "tip/cZ/1GM/O6IND4WQhG.\r\n"
    "anna:$6$abcdefgh$ltjgWl6579NluT/Vi1nwEvcil.G5Nbc4NiXZaNGStk8PSwGfQv72N2CKPPrVACtLtip"
    "/cZ/1GM/O6IND4WQhG.\r\n"
    "no colon\n\n:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1\n"
    "starred:*\nplain:secret\nempty:\nold:aa3kxsKzvuQMc\nunknown kind:$9$abc$def\n"
    "anna:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1\n"
    "cut:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I\nmore:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1:x\n"
    "locked:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1\n"
    "bob:$1$abcdefgh$cHJi5PXp/ki/ktXzqlk6I1";

class Credentials : public Installation
{
  protected:
    Credentials()
    {
        std::filesystem::current_path(path(""));
    }
    ~Credentials() override
    {
        std::filesystem::current_path("/");
    }
    static LoginVerdict judged(const char *name, const char *password)
    {
        file_contents_invalidate();
        return judge_login(name, password);
    }
    // The processor's time for some refusals.
    static clock_t cost(const char *name)
    {
        const clock_t begin = clock();
        for (int i = 0; i < 8; i++) {
            judged(name, "wrong");
        }
        return clock() - begin;
    }
};

TEST_F(Credentials, AreJudgedByTheFileAsItIs)
{
    EXPECT_EQ(LOGIN_ACCEPTED, judged("anybody", "")) << "no file";
    put("DATA/RAW/smtplogins.dat", LOGINS);
    for (const char *name : {"anna", "bob"}) {
        EXPECT_EQ(LOGIN_ACCEPTED, judged(name, "secret")) << name;
        for (const char *password : {"", "Secret", "secret ", "secre", "*0", "*1"}) {
            EXPECT_EQ(LOGIN_REFUSED, judged(name, password)) << name << password;
        }
    }
    EXPECT_EQ(LOGIN_REFUSED, judged("anna", copies(800, "x").c_str()));
    for (const char *name :
         {"Anna", "ann", "anna ", "locked", "no colon", "starred", "plain", "empty",
          "old", "unknown kind", "cut", "more", "x"}) {
        EXPECT_EQ(LOGIN_REFUSED, judged(name, "secret")) << name;
    }
    EXPECT_GT(cost("x"), cost("anna") / 4) << "the time tells which names there are";
    EXPECT_GT(cost("locked"), cost("anna") / 4);

    put("DATA/RAW/smtplogins.dat", "\xFF\xFE");
    EXPECT_EQ(LOGIN_NOT_JUDGED, judged("bob", "secret")) << "in UTF-16";
    put("DATA/RAW/smtplogins.dat", "");
    EXPECT_EQ(LOGIN_REFUSED, judged("anna", "secret")) << "an empty file";
    std::filesystem::remove(path("DATA/RAW/smtplogins.dat"));
    EXPECT_EQ(LOGIN_ACCEPTED, judged("anna", "x")) << "no file any more";
    for (const char *target : {".", "gone", "SMTPLOGINS.DAT"}) { // links lead to no file
        std::filesystem::create_symlink(target, path("DATA/RAW/SMTPLOGINS.DAT"));
        EXPECT_EQ(LOGIN_NOT_JUDGED, judged("anna", "secret")) << target;
        std::filesystem::remove(path("DATA/RAW/SMTPLOGINS.DAT"));
    }
}

// Whether the address is refused after so many failures at that time.
bool fails(const std::string &address, int times, int64_t now)
{
    for (int i = 1; i < times; i++) {
        EXPECT_FALSE(login_has_failed(address.c_str(), now)) << address << " " << i;
    }
    const bool told = login_has_failed(address.c_str(), now);
    EXPECT_EQ(told, is_guessing(address.c_str(), now));
    return told;
}

TEST(LoginFailures, OfOneAddressAreTenInTenMinutes)
{
    EXPECT_FALSE(fails("10.0.0.1", 5, 1000));
    EXPECT_FALSE(fails("10.0.0.1", 4, 1599));
    EXPECT_FALSE(fails("10.0.0.1", 5, 1600)) << "the first five are ten minutes old";
    EXPECT_FALSE(is_guessing("10.0.0.2", 1600));
    EXPECT_TRUE(fails("10.0.0.1", 1, 2000));
    EXPECT_TRUE(is_guessing("10.0.0.1", 2599));
    EXPECT_FALSE(is_guessing("10.0.0.1", 2600));
    EXPECT_FALSE(is_guessing("10.0.0.1", 1999)) << "the clock was set back";
    EXPECT_FALSE(fails("10.0.0.1", 9, 2600));

    // Whoever comes from many addresses crowds out those who failed once before.
    EXPECT_TRUE(fails("10.0.0.3", 10, 3000));
    for (int i = 0; i < 5000; i++) {
        fails("10.1." + std::to_string(i / 250) + "." + std::to_string(i % 250), 1, 3001);
    }
    EXPECT_TRUE(is_guessing("10.0.0.3", 3002));
}
