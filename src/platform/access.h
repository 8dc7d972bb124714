// What a user may do with the files of the installation directory, asked of the system
// without trying it.
#pragma once

enum PathKind { PATH_MISSING, PATH_FILE, PATH_DIRECTORY, PATH_OTHER };

// What the path leads to, links followed, its name looked up like every other.
PathKind path_kind(const char *path);

// Any of these together. The search in a directory is what its files are reached by.
inline constexpr unsigned MAY_READ = 4;
inline constexpr unsigned MAY_WRITE = 2;
inline constexpr unsigned MAY_SEARCH = 1;

// From now on the questions are about this user instead of the one who asks. A process of
// root becomes the user for good, so that the system itself answers; for anybody else the
// owners and modes are judged. False when there is no such user.
bool ask_for_user(const char *name);

// Whether root asks, for itself: it may do everything, so that nothing is found.
bool root_asks();

// Whether the file's mode lets every user of the machine read it.
bool everybody_may_read(const char *path);

// Whether the user may do all of this with what the path leads to.
bool path_allows(const char *path, unsigned wanted);
