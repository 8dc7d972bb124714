// What the check has found, one finding a line on standard output.
#pragma once

enum Severity {
    FOUND_NOTE,    // worth knowing, nothing wrong
    FOUND_WARNING, // the server works, but not as somebody may think
    FOUND_ERROR,   // clients are refused, or messages are not stored
};

// Writes "file:line: severity: text". Without a line number (0) or a file (null) that
// part is left out. Bytes that are no characters are shown as `?`.
[[gnu::format(printf, 4, 5)]] void report(Severity severity, const char *file, int line,
                                          const char *format, ...);

// The worst so far, as the program's exit status: 0 fine, 1 warnings, 2 errors.
int exit_status();
