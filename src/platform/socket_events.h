// The events of a socket, and how often a client gets them.
#pragma once

inline constexpr int SOCKET_READ = 1;   // bytes have arrived
inline constexpr int SOCKET_ACCEPT = 8; // a client waits to be accepted
inline constexpr int SOCKET_CLOSE = 32; // the peer has closed or broken the connection

// A socket's scheduling class. While others have events, all the bulk senders together
// get one event a round and all the pipelining ones one in eight rounds, so that however
// many they are, they hold up nobody who waits for answers.
enum SchedulingClass {
    CLASS_INTERACTIVE, // waits for each answer
    CLASS_BULK,        // sends a long text
    CLASS_PIPELINED,   // sends commands without waiting for the answers
};
