// Where a window comes to lie, in pixels of the screen.
#pragma once

#include "platform/windows.h"

#include <span>

// Moves the rectangle only as far as it needs to lie in the area. Of one that is too
// large the upper left part does.
Rect place_inside(const Rect &rect, const Rect &area);

// Whether the caption of a window can be reached with the mouse in one of the areas.
bool caption_is_in_reach(const Rect &rect, std::span<const Rect> areas);
