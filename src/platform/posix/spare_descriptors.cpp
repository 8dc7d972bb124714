#include "platform/posix/spare_descriptors.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr int SPARE_COUNT = 4;
int spare[SPARE_COUNT] = {-1, -1, -1, -1};
bool complete;

} // namespace

void spare_descriptors_refill()
{
    if (complete) {
        return;
    }
    complete = true;
    for (int &descriptor : spare) {
        if (descriptor < 0) {
            descriptor = open("/", O_PATH | O_CLOEXEC);
            complete = complete && descriptor >= 0;
        }
    }
}

bool spare_descriptor_release()
{
    if (errno != EMFILE && errno != ENFILE) {
        return false;
    }
    for (int &descriptor : spare) {
        if (descriptor >= 0) {
            close(descriptor);
            descriptor = -1;
            complete = false;
            return true;
        }
    }
    return false;
}
