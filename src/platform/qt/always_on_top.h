// Asking the window manager to keep a window above the others.
#pragma once

class QWidget;

// For a window that is shown; to be asked again after each show, because window managers
// forget it for a hidden window. The toolkit's own flag would re-create the window, which
// then drifts by its frame.
void keep_above_others(const QWidget &window, bool above);
