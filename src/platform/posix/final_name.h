// A file's final name, below the seam.
#pragma once

// Gives a file of the directory (a descriptor) another name in it, unless there is a file
// of that name. 0, or the number of the error.
int take_final_name(int directory, const char *from, const char *to);
