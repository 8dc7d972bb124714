// The X server, asked directly for what the toolkit does not offer.
#pragma once

#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <vector>

// Null where the screen is no X server, and once the connection to it is lost.
xcb_connection_t *x11_connection();

// The functions below need a connection.

xcb_window_t x11_root();
xcb_atom_t x11_atom(const char *name);

// A window's property, a list of 32-bit values; empty when there is none.
std::vector<uint32_t> x11_property(xcb_window_t window, const char *name);

// Asks the window manager for something about a window.
void x11_ask_window_manager(xcb_window_t window, const char *message,
                            const std::array<uint32_t, 5> &data);
