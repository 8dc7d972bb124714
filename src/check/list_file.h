// A file of the installation, read for the check.
#pragma once

#include "base/settings_table.h"
#include "check/findings.h"

#include <string_view>

struct ListFile {
    const char *name;         // below the installation directory, for the findings
    std::string_view content; // empty when there is none
    bool there;
};

// Reads the file. One that is there and cannot be read, by the check or by the user who
// is asked about, is reported with what the server does then.
ListFile read_list_file(const char *name, const char *otherwise,
                        Severity unreadable = FOUND_ERROR);

// What is found in a list is at most a warning while the setting does not switch it on.
Severity severity_in_list(Setting setting, Severity severity);

// Counts lines as an editor does, for places asked about in the order of the file.
struct LineCounter {
    const char *at;
    int line;
};

LineCounter count_lines(const ListFile &file);

// The number of the line that `place` stands in.
int line_of(LineCounter *counter, const char *place);
