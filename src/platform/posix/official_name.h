// The name that the resolver gives a host, below the seam.
#pragma once

// Copies the official name of a host, asked for with a limit of two seconds. False, with
// nothing copied, when there is no answer or it does not fit.
bool find_official_name(const char *name, char *official, int size);
