#include "platform/posix/spare_descriptors.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int SPARE_COUNT = 20;
int spare[SPARE_COUNT]; // the first `count`
int count;

} // namespace

void spare_descriptors_refill()
{
    while (count < SPARE_COUNT) {
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
    close(spare[--count]);
    return true;
}
