// The size of the log file, kept within bounds.
#pragma once

// Cuts the file down to its last MINSIZE megabytes, in whole lines, when it has grown
// beyond MAXSIZE megabytes. 1 when it did, else 0. The file is never left half there.
int trim_log_file(const char *path);
