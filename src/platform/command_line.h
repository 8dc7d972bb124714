// The command line of a program, read as the GNU conventions have it: long and short
// options in any order, --help and --version everywhere, and whatever is unknown refused.
#pragma once

struct CommandOption {
    char letter;            // 0: it has its long name alone
    const char *name;       // without the dashes
    const char *value_name; // null: it takes no value
    const char *meaning;    // one line of the help
    const char **value;     // gets the value, or "" when it takes none
};

struct CommandLine {
    const char *program;
    const char *version;
    const char *usage;   // what --help shows after the program's name, several lines
    const char *operand; // gets the one word that is no option, null without one
    const CommandOption *options;
    int option_count;
};

inline constexpr int COMMAND_LINE_READ = -1;
inline constexpr int COMMAND_LINE_REFUSED = 2; // exit code

// COMMAND_LINE_READ when the program is to go on. Otherwise its exit code: the help or
// the version was shown, or something is unknown and standard error says what.
int read_command_line(CommandLine *line, int argc, char **argv);

// Refuses a command line that cannot be followed, with the reason: its exit code.
int refuse_command_line(const CommandLine &line, const char *reason);

// Makes the directory the working directory. False, with the reason on standard error.
bool enter_directory(const CommandLine &line, const char *directory);
