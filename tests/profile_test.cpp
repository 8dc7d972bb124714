// Settings-style files: reading, and writing beside others.

#include "installation.h"
#include "platform/file_contents.h"
#include "platform/files.h"
#include "platform/profile.h"

#include <climits>
#include <filesystem>

#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

constexpr char SETTINGS[] = "DATA/RAW/QLNXSERVER.DAT";

class Profile : public Installation
{
  protected:
    void holds(const std::string &bytes)
    {
        put(SETTINGS, bytes);
        file_contents_invalidate();
    }
    std::string text(const char *section, const char *key, int size = 64) const
    {
        char buffer[64];
        profile_text(section, key, "(missing)", buffer, size, file_.c_str());
        return buffer;
    }
    int number(const char *section, const char *key) const
    {
        return profile_int(section, key, 77, file_.c_str());
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
    holds("stray=1\r\n; [QLN]\r\n [qln] \r\nName = two words \r\n;name=comment\n"
          "name=second\nquoted=\" 7 \"\nsingle=' too '\npair=\"\"inner\"\"\nhalf=\"open\n"
          "empty=\r\n\ttabs\t=\t025abc\t\r\nequals=2=b;c\r\nminus=-3\nfar=- 3\n"
          "hex=0x10\nhigh=99999999999999999999\nlow=-99999999999999999999\nno sign\r\n"
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
        {"QLN", "hex", "0x10", 0},
        {"QLN", "high", "99999999999999999999", INT_MAX},
        {"QLN", "low", "-99999999999999999999", INT_MIN},
        {"OTHER", "name", "1.9", 1},
        {"LAST", "END", "no line end", 0},
        {"QLN", "late", "(missing)", 77},
        {"QLN", "stray", "(missing)", 77},
        {"QLN", "no sign", "(missing)", 77},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(one.text, text(one.section, one.key)) << one.key;
        EXPECT_EQ(one.number, number(one.section, one.key)) << one.key;
    }
    EXPECT_EQ("two", text("QLN", "name", 4));
    holds("\xEF\xBB\xBF[QLN]\nname=behind a byte order mark\n");
    EXPECT_EQ("behind a byte order mark", text("QLN", "name"));
}

TEST_F(Profile, AWriteChangesOneLineOnly)
{
    const struct {
        const char *before, *value, *after;
    } cases[] = {
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
        {"[QLN]\rkey=1\r;end", "2", "[QLN]\rkey=2\r;end"},
        {"[a]\r[qln]\ra=1\r\r[b]", "2", "[a]\r[qln]\ra=1\rkey=2\r\r[b]"},
    };
    for (const auto &one : cases) {
        holds(one.before);
        EXPECT_TRUE(write("key", one.value)) << one.before;
        EXPECT_EQ(one.after, content(SETTINGS)) << one.before;
        EXPECT_EQ(one.value, text("QLN", "key")) << one.before;
    }
}

TEST_F(Profile, AWriteKeepsOwnerModeLinkAndWhatAnotherHasWritten)
{
    holds("[QLN]\nkey=1\n");
    chmod(path(SETTINGS).c_str(), 0640);
    ASSERT_TRUE(geteuid() != 0 || chown(path(SETTINGS).c_str(), 1234, 2345) == 0);
    fs::rename(path(SETTINGS), path("real"));
    fs::create_symlink(path("real"), path(SETTINGS));

    struct stat before;
    struct stat after;
    EXPECT_EQ(0, stat(path("real").c_str(), &before));
    EXPECT_EQ("1", text("QLN", "key"));
    put("real", "[QLN]\nkey=1\nother=2\n"); // within the same event
    EXPECT_TRUE(write("key", "2"));
    EXPECT_EQ("[QLN]\nkey=2\nother=2\n", content("real"));
    EXPECT_EQ("2", text("QLN", "key"));
    put("real", "[QLN]\nkey=3\nother=2\n");
    EXPECT_TRUE(write("key", "2")); // what it held when it was last read
    EXPECT_EQ("[QLN]\nkey=2\nother=2\n", content("real"));
    EXPECT_EQ(0, stat(path("real").c_str(), &after));
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_uid, after.st_uid);
    EXPECT_EQ(before.st_gid, after.st_gid);
    EXPECT_TRUE(fs::is_symlink(path(SETTINGS)));
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
    constexpr char LOG_FILE[] = "DATA/RAW/LOG.TXT";
    const struct {
        const char *name;
        uid_t owner;
        bool in_group;
        mode_t mode;
    } cases[] = {{"another's, in a directory of root", 0, true, 0755},
                 {"another's, in a directory of the group", 0, true, 0775},
                 {"its own, in a directory of root", SERVER, true, 0755},
                 {"its own, of a group that is not its own", SERVER, false, 0777}};
    chmod(path("").c_str(), 0755);
    EXPECT_EQ(0, chown(path("DATA/RAW").c_str(), 0, COMMON));
    EXPECT_EQ(0, chmod(path("LOG").c_str(), 0777));
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        holds("[QLN]\nkey=1\n[END]\nlast=1\n");
        put(LOG_FILE, "much\nmore\n");
        for (const char *name : {SETTINGS, LOG_FILE}) {
            EXPECT_EQ(0, chown(path(name).c_str(), one.owner, COMMON));
            chmod(path(name).c_str(), 0664);
        }
        chmod(path("DATA/RAW").c_str(), one.mode);
        const pid_t server = fork();
        if (server == 0) {
            const gid_t group = COMMON;
            const bool ready = setgroups(one.in_group ? 1 : 0, &group) == 0 &&
                               setgid(SERVER) == 0 && setuid(SERVER) == 0;
            put("LOG/LOG.TMP", "more\n");
            _exit(ready && write("key", "22") &&
                          file_replace_by(path(LOG_FILE).c_str(),
                                          path("LOG/LOG.TMP").c_str())
                      ? 0
                      : 1);
        }
        int status = 0;
        waitpid(server, &status, 0);
        EXPECT_EQ(0, status);
        EXPECT_EQ("[QLN]\nkey=22\n[END]\nlast=1\n", content(SETTINGS));
        EXPECT_EQ("more\n", content(LOG_FILE));
        for (const char *name : {SETTINGS, LOG_FILE}) {
            struct stat after;
            EXPECT_EQ(0, stat(path(name).c_str(), &after));
            EXPECT_EQ(0664U, after.st_mode & 07777);
            EXPECT_TRUE(after.st_uid == one.owner && after.st_gid == COMMON);
        }
        EXPECT_EQ(2U, files("DATA/RAW").size());
        EXPECT_TRUE(files("LOG").empty());
    }
}

TEST_F(Profile, AWriteThatCannotBeDoneIsLoggedOnce)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "not root";
    }
    settings("USEDOMAINS=1\n");
    for (const char *name : {"", "LOGS", "qlnemails"}) {
        chmod(path(name).c_str(), 0777);
    }
    put("stdout", ""), put("stderr", "");
    launch({"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"});
    ASSERT_TRUE(logs("A setting could not be written"));
    greeted().asks("MAIL FROM:<anna@firm.example>");
    EXPECT_TRUE(logs("Mail From"));
    EXPECT_EQ(1,
              times_logged("SMTP: A setting could not be written: VERSION - Permission "
                           "denied"));
    EXPECT_EQ(1, times_logged("could not be written"));
}

TEST_F(Profile, AnothersLockDelaysTheStartALittleAndNoClient)
{
    settings("USEDOMAINS=1\n");
    const int other = open(path(SETTINGS).c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, flock(other, LOCK_EX));
    EXPECT_EQ("(missing)", text("QLN", "key")) << "reading waits for nobody";
    launch();
    EXPECT_TRUE(logs("Waiting for connection", 4000));
    EXPECT_TRUE(logs("VERSION - another program keeps the file locked"));
    Client client = greeted();
    client.says("MAIL FROM:<anna@firm.example>\r\n");
    EXPECT_EQ("250 OK\r\n", client.hears(1000));
    close(other);
    client.asks("MAIL FROM:<anna@firm.example>");
    EXPECT_NE(std::string::npos, content(SETTINGS).find("badaddrchars="))
        << "the next time";
}
