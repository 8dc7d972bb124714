// What happens once a second: clock, title, time-outs, settings re-read.
#pragma once

// One tick of a timer of the main window: the one of a second, or the one of a sweep that
// is done in parts.
void timer_tick(int timer);
