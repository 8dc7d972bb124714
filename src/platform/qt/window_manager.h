// What only the window manager can do or knows.
#pragma once

#include <QMargins>

class QWidget;

// Keeps a window above the others, or no longer. For a window that is shown, and again
// after each show, because window managers forget it for a hidden window. The toolkit's
// own flag would re-create the window, which then drifts by its frame.
void keep_above_others(const QWidget &window, bool above);

// The frame and caption bar that a window which was never shown will get. Nothing where
// nobody can tell.
QMargins frame_to_be(const QWidget &window);

// The frame of a window that is shown; the next one's will be like it where the window
// manager does not answer.
QMargins frame_of(const QWidget &window);
