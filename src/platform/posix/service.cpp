#include "platform/service.h"

#include "platform/clock.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{

constexpr size_t STATE_SIZE = 256;

// The watchdog is told four times in its period: one that is lost does no harm.
constexpr long TIMES_A_PERIOD = 4;
constexpr long MICROSECONDS_A_MILLISECOND = 1000;

// Where the manager takes datagrams: a path, or a name of its own that begins with '@'.
// The socket is opened once, so that the manager is told also while descriptors are
// short.
struct Manager {
    int socket = -1; // -1: nobody wants to be told
    sockaddr_un address{};
    socklen_t size = 0;
};

Manager find_manager()
{
    Manager manager;
    const char *name = getenv("NOTIFY_SOCKET");
    if (name == nullptr || (name[0] != '/' && name[0] != '@') ||
        strlen(name) >= sizeof manager.address.sun_path) {
        return manager;
    }
    manager.address.sun_family = AF_UNIX;
    memcpy(manager.address.sun_path, name, strlen(name));
    if (name[0] == '@') {
        manager.address.sun_path[0] = '\0';
    }
    manager.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + strlen(name));
    manager.socket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return manager;
}

void tell_manager(const char *state, int flags)
{
    static const Manager manager = find_manager();
    if (manager.socket >= 0) {
        sendto(manager.socket, state, strlen(state), MSG_NOSIGNAL | flags,
               reinterpret_cast<const sockaddr *>(&manager.address), manager.size);
    }
}

// Milliseconds between two signs of life; 0 where no watchdog waits for this process.
uint32_t watchdog_interval()
{
    static const uint32_t interval = [] {
        const char *period = getenv("WATCHDOG_USEC");
        const char *process = getenv("WATCHDOG_PID");
        if (period == nullptr || (process != nullptr && atol(process) != getpid())) {
            return 0U;
        }
        const long milliseconds =
            atol(period) / MICROSECONDS_A_MILLISECOND / TIMES_A_PERIOD;
        return static_cast<uint32_t>(std::clamp(milliseconds, 0L, 1L << 30));
    }();
    return interval;
}

// The manager names the journal's stream in the environment; it may lead elsewhere by
// now.
bool is_journal(int descriptor)
{
    const char *stream = getenv("JOURNAL_STREAM");
    struct stat status;
    if (stream == nullptr || fstat(descriptor, &status) != 0) {
        return false;
    }
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

} // namespace

bool journal_takes_output()
{
    static const bool takes = is_journal(STDOUT_FILENO);
    return takes;
}

bool journal_takes_errors()
{
    static const bool takes = is_journal(STDERR_FILENO);
    return takes;
}

void service_is_ready(const char *status)
{
    char state[STATE_SIZE];
    snprintf(state, sizeof state, "READY=1\nSTATUS=%s", status);
    tell_manager(state, 0);
}

void service_has_failed(const char *status, int error)
{
    char state[STATE_SIZE];
    char number[32] = "";
    if (error != 0) {
        snprintf(number, sizeof number, "\nERRNO=%d", error);
    }
    snprintf(state, sizeof state, "STATUS=%s%s", status, number);
    tell_manager(state, 0);
}

void service_is_stopping()
{
    tell_manager("STOPPING=1", 0);
}

int service_watchdog(int milliseconds)
{
    const uint32_t interval = watchdog_interval();
    if (interval == 0) {
        return milliseconds;
    }
    const uint32_t now = tick_count();
    static uint32_t told = now - interval;
    if (now - told >= interval) {
        told = now;
        tell_manager("WATCHDOG=1", MSG_DONTWAIT);
    }
    const int left = static_cast<int>(interval - (now - told));
    return milliseconds < 0 ? left : std::min(milliseconds, left);
}
