// From a path of the installation to a name of this machine, below the seam.
#pragma once

#include <string>

// `\` becomes `/`; the working directory in front is left out.
std::string native_path(const char *path);

// Whether the path, whose spelling has been tried in vain, names something in another
// letter case; `found` is then the name as it stands on disk. False with errno set.
bool find_in_other_case(const std::string &path, std::string *found);

// The path for a file that is about to be made: an entry of that name in any letter case,
// else the directories as they stand on disk and the last name as given.
std::string path_for_new_name(const std::string &path);

// The directories as they stand on disk and the last name as given, without a search for
// it: for names that the server makes up itself.
std::string path_for_exact_name(const std::string &path);

// The entry that the path names, as it stands on disk: the path itself where that exists
// or nothing does.
std::string existing_path(const char *path);

// The file that the path leads to when links are followed; the path itself where there is
// none yet.
std::string behind_links(const std::string &path);
