// Names and contents of files.

#include "installation.h"
#include "platform/file_contents.h"
#include "platform/files.h"
#include "platform/profile.h"

#include <clocale>
#include <cstdlib>
#include <filesystem>

#include <sys/mount.h>

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

class Files : public Installation
{
  protected:
    bool writes(const std::string &below, FileMode mode, const std::string &bytes) const
    {
        return file_put(path(below).c_str(), mode, bytes.data(), bytes.size());
    }
    // What the server would see of a file at its next event; "-" when it is not there.
    std::string seen(const std::string &below) const
    {
        file_contents_invalidate();
        const FileContents contents = file_contents(path(below).c_str());
        return contents.bytes == nullptr ? "-"
                                         : std::string(contents.bytes, contents.size);
    }
};

TEST_F(Files, AreFoundInAnyLetterCaseAndMadeAsNamed)
{
    fs::create_directories(path("Data/Raw"));
    put("Data/Raw/Lists.Dat", "12345");
    for (const char *name : {"Data/Raw/Lists.Dat", "Data\\RAW\\LISTS.DAT",
                             "Data/raw\\lists.dat", "Data\\\\raw//LISTS.dat"}) {
        EXPECT_EQ("12345", seen(name)) << name;
    }
    EXPECT_TRUE(writes("Data\\RAW\\LISTS.DAT", FILE_APPEND, "6"));
    EXPECT_EQ("123456", content("Data/Raw/Lists.Dat"));
    EXPECT_EQ(Names{"Lists.Dat"}, files("Data/Raw"));

    // As it stands comes first.
    for (const std::string name : {"LISTS.DAt", "LISTS.DaT", "LISTS.DAT", "LISTs.DAT"}) {
        put("Data/Raw/" + name, name);
    }
    EXPECT_EQ("LISTS.DAT", seen("Data\\Raw\\LISTS.DAT"));
    EXPECT_EQ("123456", seen("Data\\raw\\Lists.Dat"));
    EXPECT_EQ("LISTS.DAT", seen("Data\\raw\\lists.dat")) << "the first of several";
    EXPECT_TRUE(file_is_there(path("Data\\raw\\lists.dat").c_str()));
    for (const bool is_there : {true, true, true, true, true, false}) {
        EXPECT_EQ(is_there, file_delete(path("Data\\RAW\\LISTS.DAT").c_str()));
    }

    EXPECT_TRUE(writes("Pending\\QLN.Txt", FILE_APPEND, "x"));
    EXPECT_FALSE(writes("MISSING\\QLN.TXT", FILE_APPEND, "x"));
    // The server's own names differ in case on purpose.
    EXPECT_TRUE(writes("PENDING\\qln.txt", FILE_NEW, "y"));
    EXPECT_TRUE(writes("Pending\\QLN.TXT", FILE_EXACT, "y"));
    EXPECT_FALSE(writes("PENDING\\qln.txt", FILE_NEW, "z"));
    EXPECT_TRUE(file_name_was_taken());
    EXPECT_EQ((Names{"QLN.TXT", "QLN.Txt", "qln.txt"}), files("pending"));
    EXPECT_EQ(7U, files("").size());
}

// Turkish has two letters i, of which only one is ASCII's.
TEST_F(Files, AndKeysAreFoundInEveryLocale)
{
    put("badsmtpip.txt", "[QLNSMTP]\nAcceptValid=1\n");
    const std::string make = "localedef -i tr_TR -f UTF-8 " + path("tr_TR.UTF-8");
    if (system(make.c_str()) != 0) {
        GTEST_SKIP() << "no locales to make one of";
    }
    setenv("LOCPATH", path("").c_str(), 1);
    ASSERT_NE(nullptr, setlocale(LC_ALL, "tr_TR.UTF-8"));
    EXPECT_NE("-", seen("BADSMTPIP.TXT"));
    const std::string settings = path("badsmtpip.txt");
    EXPECT_EQ(1, profile_int("qlnsmtp", "ACCEPTVALID", 0, settings.c_str()));
    EXPECT_EQ(1, profile_int("QLNSMTP", "acceptvalid", 0, settings.c_str()));
    setlocale(LC_ALL, "C");
}

TEST_F(Files, ThatAreReplacedKeepTheirModeAndTheirLink)
{
    put("real", "old");
    put("source", "new");
    fs::permissions(path("real"), fs::perms{0604});
    fs::create_symlink("real", path("linked"));
    EXPECT_TRUE(file_replace_by(path("LINKED").c_str(), path("source").c_str()));
    EXPECT_EQ("new", content("real"));
    EXPECT_EQ(fs::perms{0604}, fs::status(path("real")).permissions());
}

TEST_F(Files, NoChangeIsEverMissed)
{
    // Of the same length and far more often than the file system's clock ticks, on one
    // that has no finer clock, where one can be had.
    const bool mounted = mount("none", path("mailin").c_str(), "ramfs", 0, nullptr) == 0;
    for (const char *name : {"mailin/settings", "settings"}) {
        for (int i = 100; i < 400; i++) {
            put(name, "port=" + std::to_string(i));
            EXPECT_EQ("port=" + std::to_string(i), seen(name));
        }
    }
    EXPECT_TRUE(!mounted || umount(path("mailin").c_str()) == 0);
    // Replaced whole, with the time of the one before.
    put("other", "port=999");
    fs::last_write_time(path("other"), fs::last_write_time(path("settings")));
    fs::rename(path("other"), path("settings"));
    EXPECT_EQ("port=999", seen("SETTINGS"));
    // Changed in place with its time put back, and made, after both have stayed as they
    // were for so long that they are trusted without a look.
    const auto time = fs::last_write_time(path("settings"));
    sleep_ms(4100);
    EXPECT_EQ("port=999", seen("settings"));
    EXPECT_EQ("-", seen("DATA/RAW/LIST.TXT"));
    put("settings", "port=111");
    fs::last_write_time(path("settings"), time);
    put("DATA/RAW/list.txt", "made");
    EXPECT_EQ("port=111", seen("settings"));
    EXPECT_EQ("made", seen("DATA/RAW/LIST.TXT"));
    // Gone, and back under another spelling.
    fs::remove(path("settings"));
    EXPECT_EQ("-", seen("SETTINGS"));
    put("Settings", "port=1");
    EXPECT_EQ("port=1", seen("SETTINGS"));
}
