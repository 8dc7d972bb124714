// Descriptors kept aside while connections hold all the others: so that those who are
// connected can go on, and files that are open for a moment (log, envelopes, lists) can
// be opened whatever is open.
#pragma once

// So many are for the files of a moment, out of a larger number.
inline constexpr int SPARE_FOR_A_MOMENT = 4;

// Fills the reserve up again as far as possible.
void spare_descriptors_refill();

// Gives one back to the system; false when no more than `leave` are left or descriptors
// were not what the failed call (errno) was short of.
bool spare_descriptor_release(int leave);
