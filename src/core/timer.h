// What happens once a second: clock, title, time-outs, settings re-read.
#pragma once

// One tick of the main window's timer.
void timer_tick();
