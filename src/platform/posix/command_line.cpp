#include "platform/command_line.h"

#include <getopt.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{

// What getopt_long() answers for the option of this index, and for the common two. A
// short option has its letter, so that both ways to write it meet.
constexpr int FIRST_LONG = 256;
constexpr CommandOption COMMON[] = {
    {'h', "help", nullptr, "show this help and exit", nullptr},
    {'V', "version", nullptr, "show the version and exit", nullptr},
};

std::vector<CommandOption> all_options(const CommandLine &line)
{
    std::vector<CommandOption> all(line.options, line.options + line.option_count);
    all.insert(all.end(), std::begin(COMMON), std::end(COMMON));
    return all;
}

int answer_for(const CommandOption &option, size_t index)
{
    return option.letter != '\0' ? option.letter : FIRST_LONG + static_cast<int>(index);
}

void show_help(const CommandLine &line)
{
    printf("Usage: %s %s\n", line.program, line.usage);
    for (const CommandOption &option : all_options(line)) {
        std::string shape = "--" + std::string(option.name);
        if (option.value_name != nullptr) {
            shape += std::string("=") + option.value_name;
        }
        const std::string letter =
            option.letter != '\0' ? std::string("-") + option.letter + ", " : "    ";
        printf("  %s%-18s %s\n", letter.c_str(), shape.c_str(), option.meaning);
    }
}

// What --help and --version are, for the common options; anything else stores its value.
bool is_answered_at_once(const CommandLine &line, const CommandOption &option)
{
    if (option.value != nullptr) {
        *option.value = optarg != nullptr ? optarg : "";
        return false;
    }
    if (option.letter == 'h') {
        show_help(line);
    } else {
        printf("%s (Quillon SMTP server) %s\n", line.program, line.version);
    }
    return true;
}

} // namespace

int refuse_command_line(const CommandLine &line, const char *reason)
{
    if (reason != nullptr) {
        fprintf(stderr, "%s: %s\n", line.program, reason);
    }
    fprintf(stderr, "Try '%s --help' for more information.\n", line.program);
    return COMMAND_LINE_REFUSED;
}

int read_command_line(CommandLine *line, int argc, char **argv)
{
    const std::vector<CommandOption> all = all_options(*line);
    std::string letters;
    std::vector<option> names;
    for (size_t i = 0; i < all.size(); i++) {
        const int takes = all[i].value_name != nullptr ? required_argument : no_argument;
        names.push_back({all[i].name, takes, nullptr, answer_for(all[i], i)});
        if (all[i].letter != '\0') {
            letters += all[i].letter;
            letters += takes == required_argument ? ":" : "";
        }
    }
    names.push_back({nullptr, 0, nullptr, 0});

    int answer;
    while ((answer = getopt_long(argc, argv, letters.c_str(), names.data(), nullptr)) !=
           -1) {
        size_t found = 0;
        while (found < all.size() && answer_for(all[found], found) != answer) {
            found++;
        }
        if (found == all.size()) {
            return refuse_command_line(*line, nullptr); // getopt_long() has said why
        }
        if (is_answered_at_once(*line, all[found])) {
            return 0;
        }
    }
    line->operand = optind < argc ? argv[optind++] : nullptr;
    if (optind < argc) {
        const std::string reason =
            std::string("one directory at a time, not '") + argv[optind] + "' as well";
        return refuse_command_line(*line, reason.c_str());
    }
    return COMMAND_LINE_READ;
}

bool enter_directory(const CommandLine &line, const char *directory)
{
    if (chdir(directory) == 0) {
        return true;
    }
    fprintf(stderr, "%s: cannot enter '%s': %s\n", line.program, directory,
            strerror(errno));
    return false;
}
