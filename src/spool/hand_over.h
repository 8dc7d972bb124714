// The end of a message: its body becomes the message file, which is the fax server's.
//
// With SYNCSPOOL a worker waits for the disk, and the session for the worker. Meanwhile
// the files belong to neither this session nor to any other: however it ends, they are
// not deleted.
#pragma once

struct ClientSession;
struct StoreJob;

enum HandOver {
    HAND_OVER_FAILED, // the reason is logged, and the answer is a 451
    HANDED_OVER,      // the message may be answered with a 250
    ON_ITS_WAY,       // to the disk: it will be reported, and the session waits
};

// Finishes the body, gives it its final name in one step and forgets the transaction.
HandOver hand_over(ClientSession *session);

// Who sent the message that is reported and waits for the answer; null when that session
// has ended.
ClientSession *hand_over_sender(const StoreJob *report);

// Finishes what is left to be done, and with the report. Whether the message may be
// answered with a 250.
bool hand_over_conclude(StoreJob *report);
