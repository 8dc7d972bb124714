// A reserve of descriptors for when connections hold all the others: those who are
// connected can go on, and short-lived files (log, envelopes, lists) can be opened.
#pragma once

// Spares only for files that are opened and closed within one event.
inline constexpr int SPARE_FOR_SHORT_LIVED = 4;

// Fills the reserve again as far as possible.
void spare_descriptors_refill();

// Closes one, so that the failed call can be made again. False when no more than `leave`
// are left, or when errno says that the call did not fail for want of descriptors.
bool spare_descriptor_release(int leave);
