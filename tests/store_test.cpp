// Finished messages on their way to the disk, without a server around them.

#include "installation.h"
#include "platform/posix/store_events.h"
#include "platform/store.h"
#include "platform/store_job.h"

#include <memory>
#include <set>

#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>

class Stores : public Installation
{
  protected:
    // A message as DATA leaves it, in this directory as it is to be named there.
    StoreJob *finished(const std::string &name, const std::string &as = "qlnemails")
    {
        const std::string base = path("qlnemails/" + name);
        put("qlnemails/" + name + ".tmp", name);
        put("qlnemails/" + name + ".env", "envelope");
        auto *message = new StoreJob{};
        messages_.emplace_back(message);
        message->body = file_open((base + ".tmp").c_str(), FILE_APPEND);
        const std::string named = path(as + "\\" + name);
        EXPECT_TRUE(store_names(message, (named + ".tmp").c_str(),
                                (named + ".txt").c_str(), (named + ".env").c_str()));
        return message;
    }
    // Reports until nothing is under way, and no record twice.
    static std::set<StoreJob *> reported()
    {
        std::set<StoreJob *> all;
        while (StoreJob *message = store_wait(5000)) {
            EXPECT_TRUE(all.insert(message).second);
        }
        return all;
    }
    StoreResult result_of(StoreJob *message)
    {
        EXPECT_TRUE(store_begin(message));
        EXPECT_EQ(std::set{message}, reported());
        return message->result;
    }

    std::vector<std::unique_ptr<StoreJob>> messages_;
};

TEST_F(Stores, AreReportedOnceEachWithTheirFilesInPlace)
{
    constexpr size_t COUNT = 300; // more than go together
    for (size_t i = 0; i < COUNT; i++) {
        store_begin(finished(std::to_string(i)));
    }
    EXPECT_EQ(COUNT, reported().size());
    EXPECT_EQ(2 * COUNT, files().size());
    for (size_t i = 0; i < COUNT; i++) {
        EXPECT_EQ(STORE_DONE, messages_[i]->result);
        EXPECT_EQ(std::to_string(i), content("qlnemails/" + std::to_string(i) + ".txt"));
    }
    // In a directory of another letter case as well.
    EXPECT_EQ(STORE_DONE, result_of(finished("found", "QlnEmails")));
    store_at_once(finished("at once", "QLNEMAILS"));
    EXPECT_EQ("at once", content("qlnemails/at once.txt"));
}

TEST_F(Stores, ThatFailSayHowFarTheyCame)
{
    StoreJob *lonely = finished("lonely");
    unlink("qlnemails/lonely.env");
    EXPECT_EQ(STORE_FAILED, result_of(lonely));
    EXPECT_STREQ("No such file or directory", lonely->reason);
    EXPECT_EQ("lonely", content("qlnemails/lonely.tmp"));

    mkdir("qlnemails/second.txt", 0700);
    for (void (*hand)(StoreJob *) : {&store_here, &store_at_once}) {
        StoreJob *second = finished("second");
        hand(second);
        EXPECT_EQ(STORE_NOT_NAMED, second->result);
        EXPECT_EQ("second", content("qlnemails/second.tmp"));
    }
    EXPECT_EQ(STORE_FAILED, result_of(finished("homeless", "elsewhere")));
}

TEST_F(Stores, GoOnWithoutAnotherDescriptor)
{
    EXPECT_EQ(STORE_DONE, result_of(finished("1")));
    StoreJob *last = finished("2");
    rlimit before;
    ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
    const rlimit few{1000, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &few));
    std::vector<int> all;
    for (int copy = 0; (copy = dup(0)) >= 0;) {
        all.push_back(copy);
    }
    store_begin(last);
    pollfd report{store_descriptor(), POLLIN, 0};
    EXPECT_EQ(1, poll(&report, 1, 5000));
    uint64_t reports = 0;
    EXPECT_EQ(sizeof reports, read(store_descriptor(), &reports, sizeof reports));
    EXPECT_FALSE(last->unusual) << "this thread would have to wait for the disk";
    reported();
    std::for_each(all.begin(), all.end(), close);
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
    EXPECT_EQ(STORE_DONE, last->result) << last->reason;
}
