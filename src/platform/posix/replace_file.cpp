#include "platform/posix/replace_file.h"

#include "platform/files.h"
#include "platform/posix/name_lookup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace
{

// Gives a new file the owner, group and mode of the old one. False when that is
// forbidden.
bool take_over_owner(int file, const struct stat &old)
{
    struct stat status;
    if (fstat(file, &status) != 0) {
        return false;
    }
    const bool same = status.st_uid == old.st_uid && status.st_gid == old.st_gid;
    return (same || fchown(file, old.st_uid, old.st_gid) == 0) &&
           fchmod(file, old.st_mode & 07777) == 0;
}

bool put_at(int file, size_t position, std::string_view bytes)
{
    return bytes.empty() || (file_seek(file, static_cast<int64_t>(position)) &&
                             file_write(file, bytes.data(), bytes.size()));
}

// What makes the file longer is written first: when there is no room for it, the old
// content is still whole.
bool write_over(int file, size_t old_size, std::string_view content)
{
    const size_t common = std::min(old_size, content.size());
    if (!put_at(file, old_size, content.substr(common))) {
        const int reason = errno;
        ftruncate(file, static_cast<off_t>(old_size));
        errno = reason;
        return false;
    }
    return put_at(file, 0, content.substr(0, common)) &&
           ftruncate(file, static_cast<off_t>(content.size())) == 0 &&
           fdatasync(file) == 0;
}

bool rename_over(const std::string &from, const std::string &to)
{
    struct stat old;
    if (stat(to.c_str(), &old) == 0) {
        const int file = open(from.c_str(), O_RDONLY | O_CLOEXEC);
        const bool taken = file >= 0 && take_over_owner(file, old);
        const int reason = errno;
        close(file);
        errno = reason;
        if (!taken) {
            return false;
        }
    }
    return rename(from.c_str(), to.c_str()) == 0;
}

// The whole content of one file into another, which is cut after it.
bool copy(const std::string &from, const std::string &to, int flags)
{
    const FileHandle in = file_open(from.c_str(), FILE_READ);
    const int out = open(to.c_str(), O_WRONLY | O_CLOEXEC | flags, 0600);
    static char bytes[65536];
    int64_t count = in == NO_FILE || out < 0 ? -1 : 0;
    off_t size = 0;
    while (count >= 0 && (count = file_read(in, bytes, sizeof bytes)) > 0) {
        size += count;
        count = file_write(out, bytes, static_cast<size_t>(count)) ? count : -1;
    }
    const bool copied = count == 0 && ftruncate(out, size) == 0;
    const int reason = errno;
    file_close(in);
    const bool closed = out < 0 || file_close(out);
    errno = copied ? errno : reason;
    return copied && closed;
}

} // namespace

bool replace_content(const std::string &name, int file, std::string_view content)
{
    struct stat old;
    if (fstat(file, &old) != 0) {
        return false;
    }
    const std::string beside = name + ".new";
    const int fresh =
        open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fresh >= 0) {
        const bool taken = take_over_owner(fresh, old);
        const bool written = taken && file_write(fresh, content.data(), content.size()) &&
                             fdatasync(fresh) == 0;
        const int reason = errno;
        if (close(fresh) == 0 && written && rename(beside.c_str(), name.c_str()) == 0) {
            return true;
        }
        unlink(beside.c_str());
        if (taken && !written) {
            errno = reason;
            return false;
        }
    }
    return write_over(file, static_cast<size_t>(old.st_size), content);
}

bool file_replace_by(const char *target, const char *source)
{
    const std::string to = resolved_path(path_for_new_name(native_path(target)));
    const std::string from = existing_path(source);
    if (rename_over(from, to)) {
        return true;
    }
    bool replaced = false;
    if (errno == EXDEV) { // beside the target first, so that it is never half there
        const std::string beside = to + ".new";
        replaced = copy(from, beside, O_CREAT | O_TRUNC) && rename_over(beside, to);
        const int reason = errno;
        if (!replaced) {
            unlink(beside.c_str());
        }
        errno = reason;
    }
    replaced = replaced || ((errno == EPERM || errno == EACCES) && copy(from, to, 0));
    return replaced && unlink(from.c_str()) == 0;
}
