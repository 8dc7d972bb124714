// Descriptors kept aside, so that short-lived files (log, envelopes, lists) can be
// opened while connections hold all the others.
#pragma once

// Fills the reserve up again as far as possible.
void spare_descriptors_refill();

// Gives one back to the system; false when none is left or descriptors were not what
// the failed call (errno) was short of.
bool spare_descriptor_release();
