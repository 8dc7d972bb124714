// The files of packaging/example, which the build puts into the program.
#pragma once

#include <cstddef>

struct ExampleFile {
    const char *path; // below the installation directory
    const char *bytes;
    size_t size;
};

inline constexpr int EXAMPLE_FILE_COUNT = 5;
extern const ExampleFile EXAMPLE_FILES[EXAMPLE_FILE_COUNT];
