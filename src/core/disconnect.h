// The end of one connection.
#pragma once

struct ClientSession;

// Closes the connection, deletes the files of a transaction it left unfinished, logs
// what remains and recycles the record. A record that is not active is left alone.
// Called when the event that ended the session is over, and by the sweep of idle ones.
void Disconnect(ClientSession *session);
