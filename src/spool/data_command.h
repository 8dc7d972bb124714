// DATA: the message file is opened and begins with the Received header (RFC 5321, 4.4).
#pragma once

struct ClientSession;

// Answers a DATA that may proceed and puts the session into the data state. May end it.
void handle_data(ClientSession *session);
