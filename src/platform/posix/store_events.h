// Reports of the hand-overs as events, for the loop.
#pragma once

struct Message;

// Readable while there is something to report; -1 when no descriptor could be had.
int store_descriptor();

// The next report as a message, and whether there are more; false when there is none.
bool store_event(Message *message, bool *more);
