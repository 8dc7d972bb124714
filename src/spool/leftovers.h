// What an earlier run left unfinished in the spool.
#pragma once

// Logs the files of transactions that were not completed: a body that was not handed
// over, an envelope without its message. Nothing when there are none. The files stay:
// they are the operator's to look at, and no fax server takes them.
void log_leftovers();
