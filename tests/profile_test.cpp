// Settings-style files: reading, and writing beside others.

#include "platform/file_contents.h"
#include "platform/profile.h"

#include <gtest/gtest.h>

#include <climits>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

class Profile : public testing::Test
{
  protected:
    Profile()
    {
        char name[] = "/tmp/qln-profile-XXXXXX";
        directory_ = mkdtemp(name);
        file_ = directory_ + "/settings.dat";
        path_ = directory_ + "\\SETTINGS.DAT";
    }
    ~Profile() override
    {
        fs::remove_all(directory_);
    }

    void put(const std::string &bytes) const
    {
        std::ofstream(file_, std::ios::binary) << bytes;
        file_contents_look_again();
    }
    std::string content() const
    {
        std::ifstream file(file_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string text(const char *section, const char *key, int size = 64) const
    {
        char buffer[64];
        profile_text(section, key, "(missing)", buffer, size, path_.c_str());
        return buffer;
    }
    int number(const char *key) const
    {
        return profile_int("QLN", key, 77, path_.c_str());
    }
    bool write(const char *section, const char *key, const char *value) const
    {
        return profile_write(section, key, value, path_.c_str());
    }
    struct stat status() const
    {
        struct stat found {
        };
        EXPECT_EQ(0, stat(file_.c_str(), &found));
        return found;
    }

    std::string directory_, file_, path_;
};

TEST_F(Profile, ValuesAreReadAsTheFaxServerWritesThem)
{
    put("stray=1\r\n"
        "; [QLN]\r\n"
        " [qln] \r\n"
        "Name = two words \r\n"
        ";name=comment\n"
        "name=second\n"
        "quoted=\" kept \"\n"
        "single=' too '\n"
        "pair=\"\"inner\"\"\n"
        "half=\"open\n"
        "empty=\r\n"
        "\ttabs\t=\tx\t\r\n"
        "equals=a=b;c\r\n"
        "no equals sign\r\n"
        "[Other]\n"
        "name=other\n"
        "[QLN]\n"
        "late=not this section\n"
        "[last]\n"
        "end=no line ending");
    const char *const cases[][3] = {
        {"QLN", "NAME", "two words"},
        {"qln", "quoted", " kept "},
        {"QLN", "single", " too "},
        {"QLN", "pair", "\"inner\""},
        {"QLN", "half", "\"open"},
        {"QLN", "empty", ""},
        {"QLN", "tabs", "x"},
        {"QLN", "equals", "a=b;c"},
        {"OTHER", "name", "other"},
        {"QLN", "late", "(missing)"},
        {"QLN", "stray", "(missing)"},
        {"QLN", "no equals sign", "(missing)"},
        {"none", "name", "(missing)"},
        {"QLN", "", "(missing)"},
        {"LAST", "END", "no line ending"},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(one[2], text(one[0], one[1])) << one[0] << " " << one[1];
    }
    EXPECT_EQ("two", text("QLN", "name", 4));
    EXPECT_EQ("(mi", text("QLN", "absent", 4));
}

TEST_F(Profile, NumbersStopAtTheFirstOtherCharacter)
{
    const struct {
        const char *text;
        int expected;
    } cases[] = {
        {"25", 25},
        {" 25 ", 25},
        {"025", 25},
        {"25abc", 25},
        {"2 5", 2},
        {"-3", -3},
        {"+3", 3},
        {"- 3", 0},
        {"abc", 0},
        {"", 0},
        {"0x10", 0},
        {"\" 7\"", 7},
        {"1.9", 1},
        {"2147483647", INT_MAX},
        {"99999999999999999999", INT_MAX},
        {"-99999999999999999999", INT_MIN},
    };
    for (const auto &one : cases) {
        put(std::string("[QLN]\nkey=") + one.text + "\n");
        EXPECT_EQ(one.expected, number("KEY")) << one.text;
    }
    EXPECT_EQ(77, number("absent"));
    fs::remove(file_);
    file_contents_look_again();
    EXPECT_EQ(77, number("KEY"));
}

TEST_F(Profile, AWriteChangesOneLineOnly)
{
    const struct {
        const char *before, *value, *after;
    } cases[] = {
        {"", "1", "[QLN]\r\nkey=1\r\n"},
        {"[QLN]\nKey = old\n", "1", "[QLN]\nKey =1\n"},
        {"; c\r\n[other]\r\nkey=1\r\n", "2",
         "; c\r\n[other]\r\nkey=1\r\n\r\n[QLN]\r\nkey=2\r\n"},
        {"[qln]\n;key=0\na=1\n\n; of b\n\n[b]\nkey=9\n", "2",
         "[qln]\n;key=0\na=1\n\n; of b\nkey=2\n\n[b]\nkey=9\n"},
        {"[QLN]\r\nkey=1\r\nKEY=2\r\n", "3", "[QLN]\r\nkey=3\r\nKEY=2\r\n"},
        {"[QLN]\nkey=1", "", "[QLN]\nkey="},
        {"[QLN]\na=1", "2", "[QLN]\na=1\nkey=2\n"},
        {"[QLN]\nkey=1\n\377\xfe\n", " 2 ", "[QLN]\nkey=\" 2 \"\n\377\xfe\n"},
    };
    for (const auto &one : cases) {
        put(one.before);
        EXPECT_TRUE(write("QLN", "key", one.value)) << one.before;
        EXPECT_EQ(one.after, content()) << one.before;
        EXPECT_EQ(one.value, text("QLN", "key"));
    }
}

TEST_F(Profile, AWriteReplacesTheFileWholeAndKeepsOwnerAndMode)
{
    put("[QLN]\nkey=1\n");
    chmod(file_.c_str(), 0640);
    const bool root = geteuid() == 0;
    if (root) {
        ASSERT_EQ(0, chown(file_.c_str(), 1234, 2345));
    }
    fs::rename(file_, directory_ + "/real");
    fs::create_symlink("real", file_);

    const struct stat before = status();
    std::ifstream reader(file_); // in the middle of reading
    EXPECT_TRUE(write("QLN", "key", "2"));
    const struct stat after = status();
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_uid, after.st_uid);
    EXPECT_EQ(before.st_gid, after.st_gid);
    EXPECT_EQ("[QLN]\nkey=1\n", std::string(std::istreambuf_iterator<char>(reader), {}));
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(2, std::distance(fs::directory_iterator(directory_), {})); // nothing beside

    EXPECT_TRUE(write("QLN", "key", "2")); // nothing to change
    EXPECT_EQ(after.st_ino, status().st_ino);
    // Somebody else has changed it since it was read in this event.
    EXPECT_EQ("2", text("QLN", "key"));
    std::ofstream(file_) << "[QLN]\nkey=3\n";
    EXPECT_TRUE(write("QLN", "key", "2"));
    EXPECT_EQ("2", text("QLN", "key"));

    EXPECT_FALSE(profile_write("QLN", "key", "2", (directory_ + "\\no\\x").c_str()));
}

TEST_F(Profile, TwoWritersLoseNothingAndAReaderNeverSeesHalf)
{
    constexpr int KEYS = 60;
    put("[QLN]\nfirst=1\n[END]\nlast=1\n");
    pid_t writers[2];
    for (int i = 0; i < 2; i++) {
        writers[i] = fork();
        if (writers[i] == 0) {
            bool written = true;
            for (int key = 0; key < KEYS; key++) {
                const std::string name = std::to_string(i) + "." + std::to_string(key);
                written = write("QLN", name.c_str(), name.c_str()) && written;
            }
            _exit(written ? 0 : 1);
        }
    }
    int left = 2;
    int looks = 0;
    while (left > 0) {
        const std::string seen = content();
        ASSERT_TRUE(seen.ends_with("[END]\nlast=1\n")) << seen;
        looks++;
        int status = 0;
        if (waitpid(-1, &status, WNOHANG) > 0) {
            EXPECT_EQ(0, status);
            left--;
        }
    }
    EXPECT_GT(looks, 10);
    file_contents_look_again();
    for (int key = 0; key < KEYS; key++) {
        for (const char *writer : {"0.", "1."}) {
            const std::string name = writer + std::to_string(key);
            EXPECT_EQ(name, text("QLN", name.c_str()));
        }
    }
}

TEST_F(Profile, AWriterWaitsForAnothersLockButNotForEver)
{
    put("[QLN]\nkey=1\n");
    const int other = open(file_.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(0, flock(other, LOCK_EX));

    auto begin = Clock::now();
    EXPECT_FALSE(write("QLN", "key", "2"));
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(4));
    EXPECT_EQ("[QLN]\nkey=1\n", content());
    EXPECT_EQ(1, number("key")); // reading waits for nobody

    std::thread owner([other] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        close(other);
    });
    begin = Clock::now();
    EXPECT_TRUE(write("QLN", "key", "2"));
    EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(150));
    owner.join();
    EXPECT_EQ("[QLN]\nkey=2\n", content());
}

TEST_F(Profile, EveryChangeCountsAtTheNextRead)
{
    for (int i = 100; i < 300; i++) {
        put("[QLN]\nkey=" + std::to_string(i) + "\n");
        ASSERT_EQ(i, number("key"));
    }
    for (int i = 100; i < 110; i++) { // our own writes within one event
        EXPECT_TRUE(write("QLN", "key", std::to_string(i).c_str()));
        EXPECT_EQ(i, number("KEY"));
    }
}
