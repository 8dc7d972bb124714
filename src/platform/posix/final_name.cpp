#include "platform/posix/final_name.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace
{

bool cannot_be_done_here(int error)
{
    return error == EINVAL || error == ENOSYS || error == EPERM || error == EOPNOTSUPP;
}

} // namespace

int take_final_name(int directory, const char *from, const char *to)
{
    if (renameat2(directory, from, directory, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (!cannot_be_done_here(errno)) {
        return errno;
    }
    // A share, or an old system. A link does not replace either; where there are none, a
    // look must do.
    if (linkat(directory, from, directory, to, 0) == 0) {
        unlinkat(directory, from, 0); // handed over all the same when that fails
        return 0;
    }
    if (!cannot_be_done_here(errno)) {
        return errno;
    }
    if (faccessat(directory, to, F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
        return EEXIST;
    }
    return renameat(directory, from, directory, to) == 0 ? 0 : errno;
}
