// qlnsmtp-check: tells an operator what the server would make of an installation
// directory.
#include "check/checks.h"

#include "base/gateway.h"
#include "base/settings.h"
#include "check/findings.h"
#include "platform/command_line.h"
#include "platform/files.h"

#include <iterator>

namespace
{

constexpr int CANNOT_TELL = 2;

constexpr char USAGE[] =
    "[OPTION]... DIRECTORY\n"
    "Tells what the server makes of an installation directory. Changes nothing there,\n"
    "unless it is to create one.\n"
    "The exit status is 0 without findings, 1 with warnings and 2 with errors.\n";

const char *address;
const char *create;

constexpr CommandOption OPTIONS[] = {
    {'a', "address", "A.B.C.D", "say whether this client would be let in, and why",
     &address},
    {'c', "create", nullptr, "make what is missing of an installation, as an example",
     &create},
};

int check_all()
{
    check_directories();
    check_settings();
    check_port();
    check_address_lists();
    check_users();
    check_domains();
    return exit_status();
}

} // namespace

int main(int argc, char **argv)
{
    CommandLine line{"qlnsmtp-check", PROGRAM_VERSION,
                     USAGE,           nullptr,
                     OPTIONS,         static_cast<int>(std::size(OPTIONS))};
    const int answer = read_command_line(&line, argc, argv);
    if (answer != COMMAND_LINE_READ) {
        return answer;
    }
    if (line.operand == nullptr) {
        return refuse_command_line(line, "which installation directory?");
    }
    if (create != nullptr) {
        directory_make(line.operand); // where it cannot be made, it cannot be entered
    }
    if (!enter_directory(line, line.operand)) {
        return CANNOT_TELL;
    }

    if (create != nullptr) {
        return create_installation();
    }
    settings_locate();
    return address != nullptr ? explain_client(address) : check_all();
}
