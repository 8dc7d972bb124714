#include "platform/window_model/placement.h"

#include "platform/window_model/display.h"

#include <algorithm>

namespace
{

// So much of a caption's left or right end must be there to get hold of it.
constexpr int HANDLE_WIDTH = 96;
constexpr int HANDLE_HEIGHT = 32;

} // namespace

Rect place_inside(const Rect &rect, const Rect &area)
{
    const int width = rect.right - rect.left;
    const int height = rect.bottom - rect.top;
    const int left = std::max(area.left, std::min(rect.left, area.right - width));
    const int top = std::max(area.top, std::min(rect.top, area.bottom - height));
    return {left, top, left + width, top + height};
}

bool caption_is_in_reach(const Rect &rect, std::span<const Rect> areas)
{
    return std::any_of(areas.begin(), areas.end(), [&rect](const Rect &area) {
        const bool on_height =
            rect.top >= area.top && rect.top + HANDLE_HEIGHT <= area.bottom;
        const auto holds = [&area](int left) {
            return left >= area.left && left + HANDLE_WIDTH <= area.right;
        };
        return on_height && (holds(rect.left) || holds(rect.right - HANDLE_WIDTH));
    });
}

void window_move_inside(Window *window, int left, int top)
{
    const Rect wanted{left, top, left + window->place.right - window->place.left,
                      top + window->place.bottom - window->place.top};
    const Rect place = place_inside(wanted, display_free_area());
    window_move(window, place.left, place.top);
}
