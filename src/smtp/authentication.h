// AUTH: prompts, and nothing but prompts. No name or password is read or judged.
#pragma once

struct ClientSession;

// Handles an AUTH command: `argument` is what follows "AUTH ". May end the session.
void handle_auth(ClientSession *session);
