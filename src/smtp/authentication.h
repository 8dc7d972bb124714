// AUTH. With ESMTP=1 it begins an exchange (smtp/login_exchange.h); else it is answered
// with prompts, and nothing but prompts: no name or password is read or judged.
#pragma once

struct ClientSession;

// Handles an AUTH command: `argument` is what follows "AUTH ". May end the session.
void handle_auth(ClientSession *session);
