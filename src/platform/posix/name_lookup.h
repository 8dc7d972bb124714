// From a path of the installation to the name of the file on disk, below the seam.
#pragma once

#include <string>

// `\` becomes `/`; the working directory at the beginning is left out.
std::string native_path(const char *path);

// The same in a buffer of the caller's. False, with errno set, when it is longer.
bool native_name(const char *path, char *native, size_t size);

// Searches for a path that does not exist as it is spelled: `found` becomes its name on
// disk. False, with errno set, when it exists in no letter case.
bool find_in_other_case(const std::string &path, std::string *found);

// The path for a file that may be created: an entry of that name in any letter case, else
// the directories as they are on disk and the last name as given.
std::string path_for_new_name(const std::string &path);

// The directories as they are on disk, and the last name in exactly this letter case.
std::string path_for_exact_name(const std::string &path);

// The path as it is on disk; the path itself when it exists as spelled or not at all.
std::string existing_path(const char *path);

// The file that the path leads to through links; the path itself when there is none yet.
std::string resolved_path(const std::string &path);
