// An installation directory in memory for fuzz targets that run parts of the server.
#pragma once

#include "base/settings.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

// Ends the run as a finding.
inline void promise(bool kept, const char *what)
{
    if (!kept) {
        fprintf(stderr, "BROKEN: %s\n", what);
        abort();
    }
}

// Makes the directory; the server's files are there from then on.
inline void enter_installation()
{
    std::string name = fs::exists("/dev/shm") ? "/dev/shm" : "/tmp";
    name += "/qln-fuzz-XXXXXX";
    static const std::string directory = mkdtemp(name.data());
    fs::create_directory(directory + "/installation");
    fs::current_path(directory + "/installation");
    for (const char *below :
         {"DATA/RAW", "LOGS", "LOG", "qlnemails", "pending", "mailin"}) {
        fs::create_directories(below);
    }
    atexit([] { fs::remove_all(directory); });
    settings_locate();
}

// Nothing has been made beside it.
inline bool installation_is_alone()
{
    return std::distance(fs::directory_iterator(".."), {}) == 1;
}
