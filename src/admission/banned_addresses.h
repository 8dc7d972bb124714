// The banned-address list, DATA\RAW\BADSMTPIPADDRESS.TXT: who may not connect when
// SMTPIPBLOCK is set. A change of the file counts at the next connection.
#pragma once

// 1 when an entry of the list bans the dotted address, else 0. Logs matches only.
int is_banned_ip_address(const char *address);
