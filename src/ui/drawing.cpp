#include "ui/drawing.h"

namespace
{

constexpr Colour WHITE = {255, 255, 255};

Colour shade_of_background()
{
    Colour colour = window_background();
    colour.red /= 2;
    colour.green /= 2;
    colour.blue /= 2;
    return colour;
}

// Corners in the order drawn.
void draw_corner(DeviceContext *context, const int (&points)[3][2], Colour colour)
{
    draw_line(context, points, 3, colour);
}

} // namespace

void frame_control(DeviceContext *context, const Window *control)
{
    Rect rect = control_rect(control);
    rect.left -= 1;
    rect.top -= 1;
    draw_sunken_frame(context, rect);
}

void draw_sunken_frame(DeviceContext *context, const Rect &rect)
{
    const auto [left, top, right, bottom] = rect;

    const Colour shade = shade_of_background();
    draw_corner(context, {{left, bottom}, {left, top}, {right, top}}, shade);
    draw_corner(context,
                {{left - 1, bottom + 1}, {left - 1, top - 1}, {right + 1, top - 1}},
                shade);

    draw_corner(context,
                {{left - 1, bottom + 1}, {right + 1, bottom + 1}, {right + 1, top - 1}},
                WHITE);
    draw_corner(context,
                {{left - 1, bottom + 2}, {right + 1, bottom + 2}, {right + 1, top - 1}},
                WHITE);
}
