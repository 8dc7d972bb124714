// The pictures and icons of the program.
#pragma once

#include <QIcon>
#include <QPixmap>

// The picture for a device of `ratio` pixels per unit of length, or a null one. Pictures
// grow with the dialog unit, so that they keep their place beside the texts.
QPixmap picture(int id, double ratio);

// The icon in all its sizes; null when there is none of this id.
QIcon icon(int id);
