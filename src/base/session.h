// One client connection.
#pragma once

#include <cstdint>

#include "platform/files.h"
#include "platform/sockets.h"

enum SessionState : uint32_t {
    SESSION_NEW = 0,      // admitted; the greeting has not been sent
    SESSION_GREETED = 1,  // waiting for HELO or EHLO
    SESSION_COMMANDS = 2, // mail commands are handled
    SESSION_DATA = 3,     // the message text is being received
};

enum SessionList : uint32_t { ON_NO_LIST = 0, ON_ACTIVE_LIST = 1, ON_SPARE_LIST = 2 };

inline constexpr int PEER_SIZE = 256;
inline constexpr int HELO_SIZE = 256;
inline constexpr int REPLY_TEXT_SIZE = HELO_SIZE + 34; // the whole welcome line
inline constexpr int LINE_SIZE = 1024;
inline constexpr int LINE_LIMIT = LINE_SIZE - 1; // bytes held at most
inline constexpr int SPOOL_NAME_SIZE = 260;

struct ClientSession {
    Socket socket;
    int32_t lineLength; // bytes held in `line`
    uint32_t state;     // SessionState
    FileHandle messageFile;
    uint32_t senderIsLocal;
    uint32_t lastActivity; // tick count
    ClientSession *next, *prev;
    char peerText[PEER_SIZE];        // the client's IPv4 address
    char heloName[HELO_SIZE];        // argument of HELO/EHLO
    char replyText[REPLY_TEXT_SIZE]; // replaces the text of the next reply
    char line[LINE_SIZE];            // command or data line being assembled
    char spoolBase[SPOOL_NAME_SIZE]; // not empty: the transaction's files exist
    char spoolText[SPOOL_NAME_SIZE];
    char spoolTemp[SPOOL_NAME_SIZE];
    char spoolEnvelope[SPOOL_NAME_SIZE];
    uint32_t authenticated;
    uint32_t domainAccepted;
    uint32_t storeFailed; // the text of this message is read, but could not be stored
    int32_t chunkLeft;    // bytes of a chunk of commands that are still to be received
    SessionList list;     // the list that holds the record
    bool ended;           // nothing more of its input is handled; see session_end
    const char *argument; // of the command in `line`; null when the line is malformed
};
