// The end of the server.
#pragma once

// Shuts the network side down: every connection and the listening socket are closed.
void close_down();

// Stops the timer, calls close_down() and closes the socket library. Every close-down
// starts here.
void stop_serving();
