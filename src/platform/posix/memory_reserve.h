// What platform/memory.h promises, below the seam.
#pragma once

// Sets memory aside, at the start and whenever it has been used.
void memory_reserve_refill();
