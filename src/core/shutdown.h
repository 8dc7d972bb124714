// The end of the server.
#pragma once

// Shuts the network side down: every connection and the listening socket are closed.
void close_down();

// The same behind the stop of the timer and before the close of the socket library:
// what each of the three close-downs begins with.
void stop_serving();
