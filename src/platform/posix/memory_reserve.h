// What platform/memory.h promises, below the seam.
#pragma once

// Fills the reserve, at the start and whenever it has been used.
void memory_reserve_refill();
