// Opening a file with the desktop's program for it.
#include "platform/shell.h"

#include "platform/posix/events.h"
#include "platform/posix/name_lookup.h"

#include <QStandardPaths>

#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace
{

constexpr char OPENER[] = "xdg-open";

// In the child of a child, so that nobody has to wait for it.
[[noreturn]] void become(const char *program, const char *file, const char *directory)
{
    if (fork() != 0) {
        _exit(0);
    }
    setsid();
    events_restore_signals();
    if (chdir(directory) == 0) {
        execl(program, OPENER, file, static_cast<char *>(nullptr));
    }
    _exit(127);
}

} // namespace

bool shell_open(const char *path, const char *start_directory)
{
    const QByteArray program =
        QStandardPaths::findExecutable(QString::fromLatin1(OPENER)).toLocal8Bit();
    std::string file = existing_path(path);
    if (file[0] != '/') { // programs that run already have another working directory
        file = std::string(start_directory) + '/' + file;
    }
    if (program.isEmpty() || access(file.c_str(), R_OK) != 0) {
        return false;
    }
    const pid_t child = fork();
    if (child == 0) {
        become(program.constData(), file.c_str(), start_directory);
    }
    if (child > 0) {
        waitpid(child, nullptr, 0);
    }
    return child > 0;
}
