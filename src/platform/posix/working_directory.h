// The working directory, below the seam: asked for once an event, and left out of the
// names handed to the system, which begins there anyway.
#pragma once

// The directory as the system reports it; empty when it cannot tell.
const char *current_directory();

// The part of the path below the directory that was last asked for, or the path itself.
const char *below_current_directory(const char *path);

// Asks the system again at the next use.
void current_directory_invalidate();
