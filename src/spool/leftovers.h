// What an earlier run left unfinished in the spool.
#pragma once

// Logs the files of transactions that were not completed: a body that was not handed
// over with its envelope, and an envelope that has been without its message for a minute.
// Nothing when there are none. The files stay: they are the operator's to look at, and no
// fax server takes them.
void log_leftovers();
