// AUTH: prompts, and nothing but prompts. No name or password is read or judged.
#pragma once

struct ClientSession;

// Handles the AUTH line held in the session's `line`. May end the session.
void handle_auth(ClientSession *session);
