// The service manager that started the program, and its journal. Without one, every call
// here does nothing.
#pragma once

// The server serves; `status` is what the manager shows of it.
void service_is_ready(const char *status);

// The server cannot serve: the manager keeps showing why, with the system's words for the
// error number, when that is not 0.
void service_has_failed(const char *status, int error);

// Whether standard output, or standard error, goes straight into the manager's journal.
bool journal_takes_output();
bool journal_takes_errors();

// The end has begun.
void service_is_stopping();

// Tells a watchdog that the message loop goes round, and answers how long the loop may
// wait until it must be told again, when it would wait `milliseconds` (-1: however long).
int service_watchdog(int milliseconds);
