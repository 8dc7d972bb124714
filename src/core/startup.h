// The server from its start to its end.
#pragma once

// Starts, serves until the server is closed, and gives the process's exit code: 0, or 1
// when the start failed.
int run_server();
