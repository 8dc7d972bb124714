// The line around a field.
#pragma once

#include <QFrame>

// One line of one colour: the only frame that the toolkit draws whole at every scale. It
// takes the colour of the frame's own texts, so the frame must have none.
inline void set_thin_frame(QFrame &frame)
{
    frame.setFrameStyle(static_cast<int>(QFrame::Box) | static_cast<int>(QFrame::Plain));
    frame.setForegroundRole(QPalette::Mid);
}
