// One client connection, and the mail transaction that it is in.
#pragma once

#include <cstdint>

#include "platform/files.h"
#include "platform/sockets.h"

enum SessionState {
    SESSION_NEW = 0,      // admitted; the greeting has not been sent
    SESSION_GREETED = 1,  // waiting for HELO or EHLO
    SESSION_COMMANDS = 2, // mail commands are handled
    SESSION_DATA = 3,     // the message text is being received
};

enum SessionList { ON_NO_LIST = 0, ON_ACTIVE_LIST = 1, ON_SPARE_LIST = 2 };

inline constexpr int PEER_SIZE = 256;
inline constexpr int HELO_SIZE = 256;
inline constexpr int REPLY_TEXT_SIZE = HELO_SIZE + 34; // the whole welcome line
inline constexpr int LINE_SIZE = 1024;
inline constexpr int LINE_LIMIT = LINE_SIZE - 1; // bytes held at most
inline constexpr int SPOOL_NAME_SIZE = 260;

// What a client that logs in has said so far (smtp/login_exchange.h).
enum LoginStep {
    LOGIN_EXPECTS_NOTHING, // no exchange
    LOGIN_EXPECTS_NAME,
    LOGIN_EXPECTS_PASSWORD,
    LOGIN_EXPECTS_CREDENTIALS, // both in one answer
};

inline constexpr int LOGIN_NAME_SIZE = 768; // for whatever a line can encode

struct LoginExchange {
    LoginStep step = LOGIN_EXPECTS_NOTHING;
    int refusals = 0; // of this connection
    char name[LOGIN_NAME_SIZE] = "";
};

// The files of one mail transaction (spool/spool_files.h). Begun and forgotten by
// assignment, so that nothing of one reaches the next.
struct MailTransaction {
    FileHandle messageFile = NO_FILE;     // the body being written
    bool storeFailed = false;             // the text is read, but could not be stored
    bool hasSender = false;               // MAIL FROM has been answered with 250
    bool hasRecipient = false;            // RCPT TO, too
    char spoolBase[SPOOL_NAME_SIZE] = ""; // not empty: the transaction's files exist
    char spoolText[SPOOL_NAME_SIZE] = "";
    char spoolTemp[SPOOL_NAME_SIZE] = "";
    char spoolEnvelope[SPOOL_NAME_SIZE] = "";
};

struct ClientSession {
    Socket socket = NO_SOCKET;
    uint32_t generation = 0; // no other session has had it, whatever its socket
    bool waits = false;      // for a message that is on its way to the disk
    SessionState state = SESSION_NEW;
    bool open = false; // until session_end: nothing of its input is handled any more
    bool authenticated = false;
    bool esmtp = false;       // the setting at HELO: what today's clients expect is done
    bool afterReturn = false; // with it: a CR ended the last line, an LF may follow
    bool lineCut = false;     // bytes of the line were more than are held
    // Of the last MAIL FROM, also when a message has been finished since.
    bool senderIsLocal = false;
    bool domainAccepted = false;    // the sender's, or a recipient's since then
    uint32_t lastActivity = 0;      // tick count
    int32_t chunkLeft = 0;          // bytes of a chunk of commands still to be received
    int32_t lineLength = 0;         // bytes held in `line`
    char line[LINE_SIZE] = "";      // command or data line being assembled
    const char *argument = nullptr; // what follows the verb's head; null when malformed
    char peerText[PEER_SIZE] = "";  // the client's IPv4 address
    char heloName[HELO_SIZE] = "";  // argument of HELO/EHLO
    char replyText[REPLY_TEXT_SIZE] = ""; // replaces the text of the next reply
    LoginExchange login;
    MailTransaction mail;

    SessionList list = ON_NO_LIST; // the list that holds the record
    ClientSession *next = nullptr, *prev = nullptr;
};
