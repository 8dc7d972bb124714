#include "platform/posix/disk_threads.h"

#include "platform/posix/disk_batch.h"
#include "platform/store_job.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

#include <fcntl.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

// They only wait: with fewer of them the disk is asked to flush again and again for what
// one flush would have confirmed.
constexpr int HELPERS = 31;
// Where a wait is shorter, in memory or on a disk that answers at once, waking a helper
// would take longer.
constexpr int64_t WORTH_HELP = 100000; // nanoseconds
constexpr size_t STACK_SIZE = size_t{64} * 1024;
// Beside the body, which is open anyway, a message takes a descriptor while it is
// written.
constexpr rlim_t SHARE_OF_DESCRIPTORS = 16;

struct List {
    StoreJob *head, *tail;
};

// The tasks of the present batch, which any thread may do.
struct Tasks {
    void (*perform)(int number, void *context);
    void *context;
    int count, begun, done;
    int64_t longest; // nanoseconds of one
};

// Nothing here is ever destroyed: the program may end while a thread waits for a disk
// that does not answer.
pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t work_came = PTHREAD_COND_INITIALIZER;
pthread_cond_t tasks_came = PTHREAD_COND_INITIALIZER;
pthread_cond_t tasks_done = PTHREAD_COND_INITIALIZER;
List waiting; // to begin
List begun;   // for the next batch
List ready;   // to be reported
int ahead;    // messages that begin or have begun, each with its envelope open
bool writing; // a batch is under way
Tasks tasks;
bool help_is_worth = true; // by what the last ones took

bool running;
int batch_limit;

// What one message takes beside its body, kept for when connections hold all others.
constexpr int RESERVE = 2;
int reserve[RESERVE];

void append(List &list, StoreJob *message)
{
    message->next = nullptr;
    (list.tail != nullptr ? list.tail->next : list.head) = message;
    list.tail = message;
}

int64_t nanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
}

// Does the next task; the lock is free meanwhile.
void do_task()
{
    const Tasks present = tasks;
    tasks.begun++;
    pthread_mutex_unlock(&lock);
    const int64_t began = nanoseconds();
    present.perform(present.begun, present.context);
    const int64_t took = nanoseconds() - began;
    pthread_mutex_lock(&lock);
    tasks.longest = std::max(tasks.longest, took);
    if (++tasks.done == tasks.count) {
        pthread_cond_signal(&tasks_done);
    }
}

StoreJob *take_first(List &list)
{
    StoreJob *first = list.head;
    list.head = first->next;
    if (list.head == nullptr) {
        list.tail = nullptr;
    }
    return first;
}

bool can_begin()
{
    return waiting.head != nullptr && ahead < batch_limit;
}

// Begins the next message; the lock is free meanwhile.
void begin_message()
{
    StoreJob *message = take_first(waiting);
    ahead++;
    pthread_mutex_unlock(&lock);
    disk_message_begin(message);
    pthread_mutex_lock(&lock);
    append(begun, message);
}

void *help(void *)
{
    pthread_mutex_lock(&lock);
    for (;;) {
        if (tasks.begun < tasks.count) {
            do_task();
        } else if (can_begin()) {
            begin_message();
            pthread_cond_signal(&work_came);
        } else {
            pthread_cond_wait(&tasks_came, &lock);
        }
    }
    return nullptr;
}

void run_tasks(void (*perform)(int, void *), int count, void *context)
{
    pthread_mutex_lock(&lock);
    tasks = {perform, context, count, 0, 0, 0};
    for (int i = 1; help_is_worth && i < std::min(count, HELPERS + 1); i++) {
        pthread_cond_signal(&tasks_came);
    }
    while (tasks.begun < count) {
        do_task();
    }
    while (tasks.done < count) {
        pthread_cond_wait(&tasks_done, &lock);
    }
    if (count > 1) { // a lone directory says nothing about many files
        help_is_worth = tasks.longest > WORTH_HELP;
    }
    pthread_mutex_unlock(&lock);
}

int take_batch(StoreJob **batch)
{
    pthread_mutex_lock(&lock);
    writing = false;
    while (begun.head == nullptr || can_begin()) {
        if (can_begin()) {
            begin_message();
        } else {
            pthread_cond_wait(&work_came, &lock);
        }
    }
    int count = 0;
    while (count < batch_limit && begun.head != nullptr) {
        batch[count++] = take_first(begun);
    }
    ahead -= count;
    writing = true;
    pthread_mutex_unlock(&lock);
    return count;
}

void fill_reserve(int copied)
{
    for (int &descriptor : reserve) {
        descriptor = fcntl(copied, F_DUPFD_CLOEXEC, 0);
    }
}

int open_report()
{
    const int descriptor = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    fill_reserve(descriptor);
    return descriptor;
}

// One of those for which there was no descriptor.
void write_from_reserve(StoreJob *message)
{
    for (const int descriptor : reserve) {
        close(descriptor);
    }
    disk_message_begin(message);
    disk_batch_write(&message, 1, run_tasks);
    fill_reserve(disk_threads_descriptor());
}

void tell_loop()
{
    const uint64_t one = 1;
    for (int tries = 0; tries < 10; tries++) {
        if (write(disk_threads_descriptor(), &one, sizeof one) == sizeof one ||
            errno == EAGAIN) { // as full as can be: the loop will look
            return;
        }
    }
}

void *write_batches(void *)
{
    static StoreJob *batch[LARGEST_BATCH];
    for (;;) {
        const int count = take_batch(batch);
        disk_batch_write(batch, count, run_tasks);
        for (int i = 0; i < count; i++) {
            if (disk_message_is_short(batch[i])) {
                write_from_reserve(batch[i]);
            }
        }
        pthread_mutex_lock(&lock);
        for (int i = 0; i < count; i++) {
            append(ready, batch[i]);
        }
        pthread_mutex_unlock(&lock);
        tell_loop();
    }
    return nullptr;
}

bool start_thread(void *(*run)(void *))
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setstacksize(&attributes, STACK_SIZE);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const bool started = pthread_create(&thread, &attributes, run, nullptr) == 0;
    pthread_attr_destroy(&attributes);
    return started;
}

// Signals are the first thread's.
bool start_threads()
{
    rlimit files;
    const rlim_t share = getrlimit(RLIMIT_NOFILE, &files) == 0
                             ? files.rlim_cur / SHARE_OF_DESCRIPTORS
                             : rlim_t{1};
    batch_limit = static_cast<int>(std::clamp<rlim_t>(share, 1, LARGEST_BATCH));

    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    if (disk_threads_descriptor() < 0 ||
        pthread_sigmask(SIG_SETMASK, &all, &before) != 0) {
        return false;
    }
    const bool started = start_thread(write_batches);
    for (int i = 0; started && i < HELPERS && start_thread(help); i++) {
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

} // namespace

bool disk_threads_take(StoreJob *message)
{
    if (!running) {
        running = start_threads();
    }
    if (!running) {
        return false;
    }
    pthread_mutex_lock(&lock);
    append(waiting, message);
    const bool ask_helper = writing && help_is_worth;
    pthread_mutex_unlock(&lock);
    pthread_cond_signal(ask_helper ? &tasks_came : &work_came);
    return true;
}

StoreJob *disk_threads_ready()
{
    uint64_t count = 0;
    while (read(disk_threads_descriptor(), &count, sizeof count) < 0 && errno == EINTR) {
    }
    pthread_mutex_lock(&lock);
    StoreJob *first = ready.head;
    ready = {};
    pthread_mutex_unlock(&lock);
    return first;
}

int disk_threads_descriptor()
{
    static const int descriptor = open_report();
    return descriptor;
}
