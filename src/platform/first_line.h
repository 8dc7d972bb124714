// What a server on this machine says to whoever connects.
#pragma once

#include <cstdint>

// Connects (address in network byte order, port in host byte order), takes what is said
// first, up to a line's end, and closes. False when nobody says anything in the time.
bool first_line_of(uint32_t address, uint16_t port, int milliseconds, char *text,
                   int size);
