// Files: their names and contents, and those in the style of settings, which are written
// beside others.

#include "installation.h"
#include "platform/file_contents.h"
#include "platform/files.h"
#include "platform/profile.h"

#include <climits>
#include <clocale>
#include <cstdlib>
#include <fstream>

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>

class Files : public Installation
{
  protected:
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
    // Turkish, where a locale can be made of it, has two letters i, one of them ASCII's.
    if (system(("localedef -i tr_TR -f UTF-8 " + path("LOG/tr_TR.UTF-8")).c_str()) == 0) {
        setenv("LOCPATH", path("LOG").c_str(), 1);
        ASSERT_NE(nullptr, setlocale(LC_ALL, "tr_TR.UTF-8"));
    }
    fs::create_directories("Data/Raw");
    put("Data/Raw/Lists.Dat", "12345");
    EXPECT_EQ("12345", seen("Data\\\\RAW//LISTS.DAT"));
    const std::string from_root = "/tmp/.." + path("Data\\RAW\\LISTS.DAT");
    EXPECT_EQ(5U, file_contents(from_root.c_str()).size);
    setlocale(LC_ALL, "C");

    // As it stands comes first, and then the first of several.
    const Lines several = {"LISTS.DAT", "LISTS.DAt", "LISTS.DaT", "LISTs.DAT"};
    for (const std::string &name : several) {
        put("Data/Raw/" + name, name);
    }
    EXPECT_EQ("12345", seen("Data\\raw\\Lists.Dat"));
    for (const std::string &name : several) {
        EXPECT_EQ(name, seen("Data\\raw\\lists.dat"));
        EXPECT_TRUE(file_delete(path("Data\\RAW\\lists.dat").c_str()));
    }
    EXPECT_EQ(Lines{"Lists.Dat"}, files("Data/Raw"));

    EXPECT_TRUE(file_put(path("Pending\\QLN.Txt").c_str(), FILE_APPEND, "x", 1));
    EXPECT_FALSE(file_put(path("MISSING\\QLN.TXT").c_str(), FILE_APPEND, "x", 1));
    // The server's own names differ in case on purpose.
    EXPECT_TRUE(file_put(path("PENDING\\qln.txt").c_str(), FILE_NEW, "y", 1));
    EXPECT_TRUE(file_put(path("Pending\\QLN.TXT").c_str(), FILE_EXACT, "y", 1));
    EXPECT_FALSE(file_put(path("PENDING\\qln.txt").c_str(), FILE_NEW, "z", 1));
    EXPECT_TRUE(file_name_was_taken());
    EXPECT_EQ((Lines{"QLN.TXT", "QLN.Txt", "qln.txt"}), files("pending"));
    EXPECT_EQ(7U, files("").size());
}

TEST_F(Files, NoChangeIsEverMissed)
{
    // Of the same length and far more often than the file system's clock ticks, on one
    // that has no finer clock, where one can be had.
    const bool mounted = mount("none", "mailin", "ramfs", 0, nullptr) == 0;
    for (const char *name : {"mailin/settings", "settings"}) {
        for (int i = 100; i < 400; i++) {
            put(name, "port=" + std::to_string(i));
            EXPECT_EQ("port=" + std::to_string(i), seen(name));
        }
    }
    EXPECT_TRUE(!mounted || umount("mailin") == 0);
    // Replaced whole, with the time of the one before.
    put("other", "port=999");
    fs::last_write_time("other", fs::last_write_time("settings"));
    fs::rename("other", "settings");
    EXPECT_EQ("port=999", seen("SETTINGS"));
    // Changed in place with its time put back, and made, after both have stayed as they
    // were for so long that they are trusted without a look.
    const auto time = fs::last_write_time("settings");
    sleep_ms(4100);
    EXPECT_EQ("port=999", seen("settings"));
    EXPECT_EQ("-", seen("DATA/RAW/LIST.TXT"));
    put("settings", "port=111");
    fs::last_write_time("settings", time);
    put("DATA/RAW/list.txt", "made");
    EXPECT_EQ("port=111", seen("settings"));
    EXPECT_EQ("made", seen("DATA/RAW/LIST.TXT"));
}

// --- Settings

class Profile : public Installation
{
  protected:
    std::string text(const char *section, const char *key, int size = 64) const
    {
        char buffer[64];
        profile_text(section, key, "(missing)", buffer, size, file_.c_str());
        return buffer;
    }
    bool write(const std::string &key, const char *value) const
    {
        return profile_write("QLN", key.c_str(), value, file_.c_str(), 2000) ==
               WRITE_DONE;
    }

    const std::string file_ = path("data\\RAW\\qlnxserver.dat");
};

TEST_F(Profile, ValuesAreReadAsTheFaxServerWritesThem)
{
    put(SETTINGS,
        "stray=1\r\n; [QLN]\r\n [qln] \r\nName = two words \r\n;name=comment\n"
        "name=second\nquoted=\" 7 \"\nsingle=' too '\npair=\"\"inner\"\"\nhalf=\"open\n"
        "empty=\r\n\ttabs\t=\t025abc\t\r\nequals=2=b;c\r\nminus=-3\nfar=- 3\n"
        "high=99999999999999999999\nlow=-99999999999999999999\nno sign\r\n"
        "[Other]\nname=1.9\n[QLN]\nlate=not this section\n[last]\nend=no line end");
    const struct {
        const char *section, *key, *text;
        int number;
    } cases[] = {
        {"QLN", "NAME", "two words", 0},
        {"qln", "quoted", " 7 ", 7},
        {"QLN", "single", " too ", 0},
        {"QLN", "pair", "\"inner\"", 0},
        {"QLN", "half", "\"open", 0},
        {"QLN", "empty", "", 0},
        {"QLN", "tabs", "025abc", 25},
        {"QLN", "equals", "2=b;c", 2},
        {"QLN", "minus", "-3", -3},
        {"QLN", "far", "- 3", 0},
        {"QLN", "high", "99999999999999999999", INT_MAX},
        {"QLN", "low", "-99999999999999999999", INT_MIN},
        {"OTHER", "name", "1.9", 1},
        {"LAST", "END", "no line end", 0},
        {"QLN", "late", "(missing)", 77},
        {"QLN", "stray", "(missing)", 77},
        {"QLN", "no sign", "(missing)", 77},
    };
    for (const auto &[section, key, value, value_as_number] : cases) {
        EXPECT_EQ(value, text(section, key)) << key;
        EXPECT_EQ(value_as_number, profile_int(section, key, 77, file_.c_str())) << key;
    }
    EXPECT_EQ("two", text("QLN", "name", 4));
    put(SETTINGS, "\xEF\xBB\xBF[QLN]\nname=after a byte order mark\n");
    EXPECT_EQ("after a byte order mark", text("QLN", "name"));
}

TEST_F(Profile, AWriteChangesOneLineOnly)
{
    const char *const cases[][3] = {
        {"", "1", "[QLN]\r\nkey=1\r\n"},
        {"; c\r\n[other]\r\nkey=1\r\n", "2",
         "; c\r\n[other]\r\nkey=1\r\n\r\n[QLN]\r\nkey=2\r\n"},
        {"[qln]\n;key=0\na=1\n\n; of b\n\n[b]\nkey=9\n", "2",
         "[qln]\n;key=0\na=1\n\n; of b\nkey=2\n\n[b]\nkey=9\n"},
        {"[QLN]\r\nKey = 1\r\nKEY=2\r\n", "3", "[QLN]\r\nKey =3\r\nKEY=2\r\n"},
        {"[QLN]\nkey=1", "", "[QLN]\nkey="},
        {"[QLN]\na=1", "2", "[QLN]\na=1\nkey=2\n"},
        {"[QLN]\nkey=1\n", "\"2\"", "[QLN]\nkey=\"\"2\"\"\n"},
        {"[QLN]\nkey=1\n\377\xfe\n", " 2 ", "[QLN]\nkey=\" 2 \"\n\377\xfe\n"},
        {"[a]\r[qln]\ra=1\r\r[b]", "2", "[a]\r[qln]\ra=1\rkey=2\r\r[b]"},
    };
    for (const auto &[before, value, after] : cases) {
        put(SETTINGS, before);
        EXPECT_TRUE(write("key", value)) << before;
        EXPECT_EQ(after, content(SETTINGS)) << before;
        EXPECT_EQ(value, text("QLN", "key")) << before;
    }
}

TEST_F(Profile, AWriteKeepsOwnerModeLinkAndWhatAnotherHasWritten)
{
    put(SETTINGS, "[QLN]\nkey=1\n");
    chmod(SETTINGS, 0640);
    ASSERT_TRUE(geteuid() != 0 || chown(SETTINGS, 1234, 2345) == 0);
    fs::rename(SETTINGS, "real");
    fs::create_symlink(path("real"), SETTINGS);

    EXPECT_EQ("1", text("QLN", "key"));
    std::ofstream("real") << "[QLN]\nkey=2\nother=2\n"; // by another, within this event
    EXPECT_TRUE(write("key", "1"));
    EXPECT_EQ("[QLN]\nkey=1\nother=2\n", content("real"));
    put("new", "whole");
    EXPECT_TRUE(file_replace_by(file_.c_str(), path("new").c_str()));
    EXPECT_EQ("whole", content("real"));
    struct stat after;
    EXPECT_EQ(0, stat("real", &after));
    EXPECT_EQ(0640U, after.st_mode & 07777);
    EXPECT_TRUE(geteuid() != 0 || (after.st_uid == 1234 && after.st_gid == 2345));
    EXPECT_TRUE(fs::is_symlink(SETTINGS));
    EXPECT_EQ(1U, files("DATA/RAW").size());
}

// What a server without the rights of root makes of files that it may write.
TEST_F(Profile, AWriterWhoMayNotReplaceTheFileWritesInIt)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "not root";
    }
    constexpr uid_t SERVER = 1234;
    constexpr gid_t COMMON = 2345;
    const std::string log = "DATA/RAW/LOG.TXT";
    const struct {
        uid_t owner;
        bool in_group;
        mode_t mode;
    } cases[] = {{0, true, 0755},        // another's, in a directory of root
                 {0, true, 0775},        // another's, in a directory of the group
                 {SERVER, true, 0755},   // its own, in a directory of root
                 {SERVER, false, 0777}}; // its own, of a group that is not its own
    chmod(".", 0755);
    EXPECT_EQ(0, chown("DATA/RAW", 0, COMMON));
    EXPECT_EQ(0, chmod("LOG", 0777));
    for (const auto &[owner, in_group, mode] : cases) {
        SCOPED_TRACE(testing::Message() << owner << " " << in_group << " " << mode);
        put(SETTINGS, "[QLN]\nkey=333\n[END]\nlast=1\n");
        put(log, "much\nmore\n");
        for (const std::string &name : {path(SETTINGS), path(log)}) {
            EXPECT_EQ(0, chown(name.c_str(), owner, COMMON));
            chmod(name.c_str(), 0664);
        }
        chmod("DATA/RAW", mode);
        EXPECT_EXIT(
            {
                const bool ready = setgroups(in_group ? 1 : 0, &COMMON) == 0 &&
                                   setgid(SERVER) == 0 && setuid(SERVER) == 0;
                put("LOG/new", "more\n");
                const bool done =
                    ready && write("key", "4444") && write("key", "22") &&
                    file_replace_by(path(log).c_str(), path("LOG/new").c_str());
                _exit(done ? 0 : 1);
            },
            testing::ExitedWithCode(0), "");
        EXPECT_EQ("[QLN]\nkey=22\n[END]\nlast=1\n", content(SETTINGS));
        EXPECT_EQ("more\n", content(log));
        for (const std::string &name : {path(SETTINGS), path(log)}) {
            struct stat after;
            EXPECT_EQ(0, stat(name.c_str(), &after));
            EXPECT_EQ(0664U, after.st_mode & 07777);
            EXPECT_TRUE(after.st_uid == owner && after.st_gid == COMMON);
        }
        EXPECT_EQ(2U, files("DATA/RAW").size());
        EXPECT_TRUE(files("LOG").empty());
    }
}

TEST_F(Profile, AWriteThatCannotBeDoneIsLoggedOnceAndHoldsNoClientUp)
{
    settings("USEDOMAINS=1\n");
    const int other = open(SETTINGS, O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, flock(other, LOCK_EX));
    EXPECT_EQ("(missing)", text("QLN", "key")) << "reading waits for nobody";
    launch();
    EXPECT_TRUE(logs("Waiting for connection", 4000));
    EXPECT_EQ(1, times_logged("SMTP: A setting could not be written: VERSION - another "
                              "program keeps the file locked"));
    Client client = greeted();
    client.says("MAIL FROM:<anna@firm.example>\r\n");
    EXPECT_EQ(OK, client.hears(1000));
    EXPECT_EQ(1, times_logged("could not be written"));
    close(other);
    client.asks("MAIL FROM:<anna@firm.example>");
    EXPECT_NE(std::string::npos, content(SETTINGS).find("badaddrchars=")) << "at last";
    EXPECT_EQ(0, stop());

    if (geteuid() != 0) {
        GTEST_SKIP() << "not root";
    }
    forget_log();
    for (const char *name : {"", "LOGS", LOG, "qlnemails"}) {
        chmod(path(name).c_str(), 0777);
    }
    launch({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    EXPECT_TRUE(logs("A setting could not be written: VERSION - Permission denied"));
    EXPECT_EQ(OK, greeted().asks("MAIL FROM:<anna@firm.example>"));
    EXPECT_EQ(1, times_logged("could not be written"));
}
