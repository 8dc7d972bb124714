// The end of a message: its body becomes the message file, which is the fax server's.
#pragma once

struct ClientSession;

// Finishes the body, gives it its final name in one step and forgets the transaction.
// With SYNCSPOOL, waits until the disk has it all. True when the message may be answered
// with a 250; otherwise the reason is logged, and the answer is a 451.
bool hand_over(ClientSession *session);
