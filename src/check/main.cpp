// qlnsmtp-check DIRECTORY [--address A.B.C.D]: tells an operator what the server would
// make of an installation directory, and changes nothing there.
#include "check/checks.h"

#include "check/findings.h"
#include "base/settings.h"

#include <unistd.h>

#include <cstdio>
#include <string_view>

namespace
{

constexpr char USAGE[] = "usage: qlnsmtp-check DIRECTORY [--address A.B.C.D]\n";
constexpr int CANNOT_TELL = 2;

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
    if (argc == 2 && std::string_view(argv[1]) == "--help") {
        fputs(USAGE, stdout);
        return 0;
    }
    bool asks_about_client = argc == 4 && std::string_view(argv[2]) == "--address";
    if (argc != 2 && !asks_about_client) {
        fputs(USAGE, stderr);
        return CANNOT_TELL;
    }
    if (chdir(argv[1]) != 0) {
        perror(argv[1]);
        return CANNOT_TELL;
    }

    settings_locate();
    return asks_about_client ? explain_client(argv[3]) : check_all();
}
