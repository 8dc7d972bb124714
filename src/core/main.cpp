// The program's entry: the installation directory is the working directory, or the one
// that the command line names.

#include "base/gateway.h"
#include "core/startup.h"
#include "platform/command_line.h"
#include "platform/program.h"

namespace
{

constexpr char USAGE[] =
    "[OPTION]... [DIRECTORY]\n"
    "Serves the fax server's installation directory, which is the working directory\n"
    "unless one is named, until it is told to end.\n";

} // namespace

int main(int argc, char **argv)
{
    CommandLine line{PROGRAM_NAME, PROGRAM_VERSION, USAGE, nullptr, nullptr, 0};
    const int answer = read_command_line(&line, argc, argv);
    if (answer != COMMAND_LINE_READ) {
        return answer;
    }
    if (line.operand != nullptr && !enter_directory(line, line.operand)) {
        return 1;
    }
    if (!program_start(argc, argv)) {
        return 1;
    }
    const int code = run_server();
    program_end();
    return code;
}
