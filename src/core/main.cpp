// The program's entry. Its command line is not used.

#include "core/startup.h"

#include "platform/program.h"

int main(int argc, char **argv)
{
    if (!program_start(argc, argv)) {
        return 1;
    }
    const int code = run_server();
    program_end();
    return code;
}
