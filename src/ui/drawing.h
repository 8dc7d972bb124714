// The sunken frame that is drawn around a light.
#pragma once

#include "platform/windows.h"

// Frames a control of the window, one pixel outside its upper left edges.
void frame_control(DeviceContext *context, const Window *control);

// A frame two pixels wide: dark above and to the left, white below and to the right.
void draw_sunken_frame(DeviceContext *context, const Rect &rect);
