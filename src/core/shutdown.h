// The end of the server.
#pragma once

// Shuts the network side down: every connection and the listening socket are closed.
void close_down();

// Stops the timer and calls close_down(): every close-down starts here.
void stop_serving();
