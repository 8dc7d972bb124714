// A new content in the place of a file's old one, below the seam. In one step where the
// new file can have the old one's owner, group and mode; otherwise written over the old
// content, so that nobody who may use the file loses it.
#pragma once

#include <string>
#include <string_view>

// Replaces the content of the file `name`, which is open for writing as `file` and
// locked. False with errno set.
bool replace_content(const std::string &name, int file, std::string_view content);
