// Paths of the installation directory, formed from the working directory at the moment
// of use. The server never creates a directory.
#pragma once

inline constexpr int DIRECTORY_SIZE = 256; // the longest working directory, with its NUL
inline constexpr int PATH_SIZE = DIRECTORY_SIZE + 64; // and any fixed path below it

// The working directory, a separator unless it ends in one, and `tail`. False, with an
// empty path, when that does not fit.
bool path_below(char *path, int size, const char *tail);

// 1 if a directory entry of that name exists, file or directory, else 0.
int does_file_exist(const char *path);
