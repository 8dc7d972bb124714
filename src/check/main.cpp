// qlnsmtp-check: tells an operator what the server would make of an installation
// directory.
#include "check/checks.h"

#include "base/gateway.h"
#include "base/settings.h"
#include "check/findings.h"
#include "platform/access.h"
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

const char *create;
const char *user;
ClientQuestion question;

constexpr CommandOption OPTIONS[] = {
    {'a', "address", "A.B.C.D", "say whether this client would be let in, and why",
     &question.address},
    {'f', "from", "ADDRESS", "... and whether its message from this sender",
     &question.from},
    {'t', "to", "ADDRESS", "... to this recipient would be accepted", &question.to},
    {'u', "user", "NAME", "ask about the rights of this user, who runs the server",
     &user},
    {'c', "create", nullptr, "make what is missing of an installation, as an example",
     &create},
};

int check_all()
{
    if (user == nullptr && root_asks()) {
        report(FOUND_NOTE, nullptr, 0,
               "root may do everything: --user NAME asks for the server's user");
    }
    check_directories();
    check_settings();
    check_port();
    check_address_lists();
    check_users();
    check_domains();
    check_logins();
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
    if ((question.from == nullptr) != (question.to == nullptr) ||
        (question.from != nullptr && question.address == nullptr)) {
        return refuse_command_line(line,
                                   "a message has an address, a sender and a recipient");
    }
    if (user != nullptr && !ask_for_user(user)) {
        return refuse_command_line(line, "there is no such user");
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
    return question.address != nullptr ? explain_client(question) : check_all();
}
