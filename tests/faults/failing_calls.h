// The page that a test shares with a server whose system calls are to fail.
#pragma once

#include <atomic>

enum FailingCall {
    CALL_STAT,
    CALL_OPEN,
    CALL_READ,
    CALL_WRITE,
    CALL_CLOSE,
    CALL_RENAME,
    CALL_UNLINK,
    CALL_SYNC, // of an envelope or a directory
    CALL_SYNC_OF_TEXT,
    CALL_THREAD, // pthread_create
    CALL_SEND,
    CALL_RECV,
    CALL_ACCEPT,
    CALL_WATCH, // epoll_ctl
    CALL_MEMORY,
    CALL_KINDS
};

struct FaultPage {
    std::atomic<int> kind;  // the kind that fails, counted from when it was armed
    std::atomic<int> nth;   // the call that fails, 1 for the next; 0: none
    std::atomic<int> error; // its errno
    std::atomic<bool> half; // a write or send takes half of the bytes first, and after
                            // any other call all that follow fail, too
    std::atomic<int> calls[CALL_KINDS];
    std::atomic<int> clock; // seconds by which the clock goes wrong
    std::atomic<int> delay; // milliseconds that a sync takes
};
