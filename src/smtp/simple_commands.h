// The commands that need no transaction. Each may end the session.
#pragma once

struct ClientSession;

// Says goodbye and ends the session, whatever becomes of the reply.
void do_quit(ClientSession *session);

void do_noop(ClientSession *session);

// Deletes what MAIL and RCPT have begun and forgets it.
void transaction_give_up(ClientSession *session);

// Empties the line buffer; the transaction stays as it is, but is given up with ESMTP=1.
void do_rset(ClientSession *session);

void refuse_vrfy(ClientSession *session);
void refuse_turn(ClientSession *session);

// DATA without an accepted domain. The caller has logged it.
void refuse_no_domain(ClientSession *session);
