// Names, contents and descriptors of files.

#include "core/paths.h"
#include "platform/file_contents.h"
#include "platform/files.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

class Files : public testing::Test
{
  protected:
    Files()
    {
        char name[] = "/tmp/qln-files-XXXXXX";
        directory_ = mkdtemp(name);
    }
    ~Files() override
    {
        fs::remove_all(directory_);
    }

    std::string path(const std::string &below) const
    {
        return directory_ + "/" + below;
    }
    // In place, as the fax server's screens write: the same file with other bytes.
    void put(const std::string &below, const std::string &bytes) const
    {
        std::ofstream(path(below), std::ios::binary) << bytes;
    }
    std::string content(const std::string &below) const
    {
        std::ifstream file(path(below), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::vector<std::string> names(const std::string &below) const
    {
        std::vector<std::string> found;
        for (const auto &entry : fs::directory_iterator(path(below))) {
            found.push_back(entry.path().filename());
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    bool append(const std::string &below, const std::string &bytes) const
    {
        return file_put(path(below).c_str(), FILE_APPEND, bytes.data(), bytes.size());
    }
    // What the server would see of a file at its next event; "-" when it is not there.
    std::string seen(const std::string &below) const
    {
        file_contents_look_again();
        const FileContents contents = file_contents(path(below).c_str());
        return contents.bytes == nullptr ? "-"
                                         : std::string(contents.bytes, contents.size);
    }

    std::string directory_;
};

using Names = std::vector<std::string>;

TEST_F(Files, AreFoundInAnyLetterCaseAndWithBothSeparators)
{
    fs::create_directories(path("Data/Raw"));
    put("Data/Raw/Lists.Dat", "12345");
    for (const char *name : {"Data/Raw/Lists.Dat", "DATA\\RAW\\LISTS.DAT",
                             "data/raw\\lists.dat", "Data\\\\raw//LISTS.dat"}) {
        EXPECT_TRUE(file_is_there(path(name).c_str())) << name;
        EXPECT_EQ(5, file_size_of(path(name).c_str())) << name;
        const FileHandle file = file_open(path(name).c_str(), FILE_READ);
        EXPECT_NE(NO_FILE, file) << name;
        file_close(file);
    }
    EXPECT_TRUE(append("DATA\\RAW\\LISTS.DAT", "6"));
    EXPECT_EQ("123456", content("Data/Raw/Lists.Dat"));
    EXPECT_TRUE(file_put(path("DATA\\raw\\lists.dat").c_str(), FILE_EMPTY, "ab", 2));
    EXPECT_EQ("ab", content("Data/Raw/Lists.Dat"));
    EXPECT_EQ(Names{"Lists.Dat"}, names("Data/Raw"));
    EXPECT_TRUE(file_is_there(path("DATA\\RAW").c_str()));

    // As it stands comes first.
    put("Data/Raw/LISTS.DAT", "capitals");
    EXPECT_EQ("capitals", seen("DATA\\RAW\\LISTS.DAT"));
    EXPECT_EQ("ab", seen("data\\raw\\Lists.Dat"));
    EXPECT_TRUE(file_delete(path("data\\RAW\\LISTS.DAT").c_str()));
    EXPECT_TRUE(file_delete(path("data\\RAW\\LISTS.DAT").c_str()));
    EXPECT_FALSE(file_delete(path("data\\RAW\\LISTS.DAT").c_str()));
    EXPECT_EQ(Names{}, names("Data/Raw"));
}

TEST_F(Files, AreMadeAsNamedInsideTheDirectoryThatMatched)
{
    fs::create_directories(path("logs"));
    EXPECT_TRUE(append("LOGS\\QLN.Txt", "x"));
    EXPECT_EQ(Names{"QLN.Txt"}, names("logs"));
    EXPECT_FALSE(append("MISSING\\QLN.TXT", "x"));
    EXPECT_STREQ("No such file or directory", file_failure());

    // The server's own names differ in case on purpose.
    for (const FileMode mode : {FILE_NEW, FILE_OWN}) {
        const char *name = mode == FILE_NEW ? "LOGS\\qln.txt" : "Logs\\QLN.TXT";
        EXPECT_TRUE(file_put(path(name).c_str(), mode, "y", 1));
    }
    EXPECT_FALSE(file_put(path("LOGS\\qln.txt").c_str(), FILE_NEW, "z", 1));
    EXPECT_TRUE(file_name_was_taken());
    EXPECT_EQ((Names{"QLN.TXT", "QLN.Txt", "qln.txt"}), names("logs"));
    EXPECT_EQ(Names{"logs"}, names(""));

    // A link to a file that is still to be made.
    fs::create_symlink(path("elsewhere"), path("logs/linked"));
    EXPECT_TRUE(append("LOGS\\LINKED", "z"));
    EXPECT_EQ("z", content("elsewhere"));
    EXPECT_TRUE(fs::is_symlink(path("logs/linked")));
}

TEST_F(Files, ThatAreReplacedKeepTheirModeAndTheirLink)
{
    put("real", "old");
    put("source", "new");
    chmod(path("real").c_str(), 0604);
    fs::create_symlink("real", path("linked"));
    EXPECT_TRUE(file_replace_by(path("LINKED").c_str(), path("source").c_str()));
    EXPECT_EQ("new", content("real"));
    EXPECT_TRUE(fs::is_symlink(path("linked")));
    EXPECT_EQ(static_cast<fs::perms>(0604), fs::status(path("real")).permissions());
    EXPECT_EQ((Names{"linked", "real"}), names(""));
}

TEST_F(Files, WorkingDirectoryIsReportedAsTheSystemDoesAndPathsFormedBelowIt)
{
    char before[4096];
    ASSERT_NE(nullptr, getcwd(before, sizeof before));
    const std::string deep = path(std::string(255 - directory_.size() - 1, 'd'));
    fs::create_directory(deep);

    struct Case {
        const char *what;
        std::string directory;
        int size;
        std::string expected;
    };
    const Case cases[] = {
        {"plain", directory_, 300, directory_ + "\\LOGS\\X"},
        {"root", "/", 300, "/LOGS\\X"},
        {"longest", deep, 300, deep + "\\LOGS\\X"},
        {"no room", directory_, static_cast<int>(directory_.size()) + 7, ""},
    };
    for (const Case &one : cases) {
        ASSERT_EQ(0, chdir(one.directory.c_str())) << one.what;
        file_contents_look_again();
        char formed[300];
        EXPECT_EQ(!one.expected.empty(), path_below(formed, one.size, "LOGS\\X"));
        EXPECT_EQ(one.expected, formed) << one.what;
    }
    ASSERT_EQ(0, chdir(before));
    file_contents_look_again();
}

TEST_F(Files, NoChangeIsEverMissed)
{
    // Of the same length and far more often than the file system's clock ticks, on one
    // that has no finer clock, where one can be had.
    fs::create_directory(path("coarse"));
    const bool mounted = mount("none", path("coarse").c_str(), "ramfs", 0, nullptr) == 0;
    for (const char *name : {"coarse/settings", "settings"}) {
        for (int i = 100; i < 400; i++) {
            put(name, "port=" + std::to_string(i));
            EXPECT_EQ("port=" + std::to_string(i), seen(name));
        }
    }
    if (mounted) {
        EXPECT_EQ(0, umount(path("coarse").c_str()));
    }
    // Replaced whole, with the time of the one before.
    const auto time = fs::last_write_time(path("settings"));
    put("other", "port=999");
    fs::last_write_time(path("other"), time);
    fs::rename(path("other"), path("settings"));
    EXPECT_EQ("port=999", seen("SETTINGS"));
    // Gone, back under another spelling, and no file at all.
    fs::remove(path("settings"));
    EXPECT_EQ("-", seen("SETTINGS"));
    put("Settings", "port=1");
    EXPECT_EQ("port=1", seen("SETTINGS"));
    fs::remove(path("Settings"));
    ASSERT_EQ(0, mkfifo(path("settings").c_str(), 0600));
    EXPECT_EQ("-", seen("SETTINGS"));
    // A content that was there before still counts as a change.
    fs::remove(path("settings"));
    const uint64_t missing = file_contents(path("SETTINGS").c_str()).version;
    put("settings", "port=1");
    EXPECT_EQ("port=1", seen("SETTINGS"));
    EXPECT_NE(missing, file_contents(path("SETTINGS").c_str()).version);
}

// Reads that the process has made so far.
static long reads()
{
    std::ifstream file("/proc/self/io");
    std::string word;
    long count = -1;
    while (file >> word) {
        if (word == "syscr:") {
            file >> count;
        }
    }
    return count;
}

TEST_F(Files, ThatStayTheSameAreNotReadAgain)
{
    if (reads() < 0) {
        GTEST_SKIP() << "the system does not count reads";
    }
    put("settings", "port=25");
    std::this_thread::sleep_for(std::chrono::milliseconds(4500));
    EXPECT_EQ("port=25", seen("settings")); // old enough to be trusted now
    const long before = reads();
    const long cost = reads() - before; // of asking
    const long start = reads();
    for (int event = 0; event < 100; event++) {
        EXPECT_EQ("port=25", seen("settings"));
    }
    EXPECT_EQ(start + cost, reads());
    put("settings", "port=26");
    EXPECT_EQ("port=26", seen("settings"));
}

TEST_F(Files, ThatAreShortLivedCanBeOpenedWhenDescriptorsHaveRunOut)
{
    rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit few{40, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &few));
    fs::create_directories(path("logs"));
    EXPECT_TRUE(append("logs/log", "1")); // sets the reserve aside

    std::vector<int> all;
    for (int one = 0; (one = dup(STDERR_FILENO)) >= 0;) {
        all.push_back(one);
    }
    for (int one = 0; (one = file_open_for_long(path("logs/log2").c_str())) != NO_FILE;) {
        all.push_back(one);
    }
    file_delete(path("logs/log2").c_str());
    EXPECT_STREQ("Too many open files", file_failure());
    for (int i = 0; i < 20; i++) {
        EXPECT_TRUE(append("LOGS\\LOG", "2"));
    }
    for (const int one : all) {
        close(one);
    }
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_EQ("1" + std::string(20, '2'), content("logs/log"));
    EXPECT_EQ(Names{"log"}, names("logs"));
}
