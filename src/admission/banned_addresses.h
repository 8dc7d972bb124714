// The banned-address list, DATA\RAW\BADSMTPIPADDRESS.TXT: who may not connect when
// SMTPIPBLOCK is set. A change of the file counts at the next connection.
#pragma once

// 1 when an entry of the list bans the dotted address, else 0. Also 1 while the list
// exists but has never been readable. Logs matches, and why the list cannot be read.
int is_banned_ip_address(const char *address);
