#include "platform/posix/spare_descriptors.h"

#include <cassert>
#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

constexpr int SPARE_COUNT = 20;
constexpr int SPARE_SHARE = 8; // a part of the limit, where the limit is low
int spare[SPARE_COUNT];        // the first `count`
int count;

int wanted()
{
    rlimit files;
    if (getrlimit(RLIMIT_NOFILE, &files) != 0) {
        return SPARE_COUNT;
    }
    const rlim_t share = files.rlim_cur / SPARE_SHARE;
    return share < SPARE_COUNT - SPARE_FOR_SHORT_LIVED
               ? SPARE_FOR_SHORT_LIVED + static_cast<int>(share)
               : SPARE_COUNT;
}

} // namespace

void spare_descriptors_refill()
{
    static const int enough = wanted();
    while (count < enough) {
        const int descriptor = open("/", O_PATH | O_CLOEXEC);
        if (descriptor < 0) {
            return;
        }
        spare[count++] = descriptor;
    }
}

bool spare_descriptor_release(int leave)
{
    if ((errno != EMFILE && errno != ENFILE) || count <= leave) {
        return false;
    }
    assert(count > 0 && count <= SPARE_COUNT);
    close(spare[--count]);
    return true;
}
