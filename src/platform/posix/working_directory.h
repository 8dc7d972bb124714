// The working directory, below the seam: asked for once an event, and taken off the paths
// that the system gets, so that the directories above it need not be searchable.
#pragma once

// The directory as the system reports it; empty when it cannot tell.
const char *current_directory();

// The part of the path below the working directory, or the path itself.
const char *below_current_directory(const char *path);

// Invalidates what is known: the next use asks the system.
void current_directory_invalidate();
