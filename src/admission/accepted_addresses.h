// The accepted-address list, DATA\RAW\VALIDIPADDRESSES.TXT: who may connect when
// ACCEPTVALIDADDRESSONLY is set. Loaded at the first check and kept until exit.
#pragma once

// 1 when an entry of the list lets the dotted address in, else 0. Logs its work.
int validate_ip_address(const char *address);

// Releases the list.
void accepted_addresses_free();
