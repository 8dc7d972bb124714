// What the files of the Qt display share.
#pragma once

#include "platform/windows.h"

#include <QRect>

inline Rect rect_of(const QRect &rect)
{
    return {rect.left(), rect.top(), rect.left() + rect.width(),
            rect.top() + rect.height()};
}

// False once the connection to the screen has been lost: nothing is drawn any more.
bool screen_is_there();

// Whether the notification area holds our icon. Where it does not, a hidden dialog stays
// reachable as a minimised one.
bool tray_is_there();

// Pretends a left press on the icon: the way back to the status window.
void tray_press_left();

// The pixels of a quarter and an eighth of the dialog unit's character.
int unit_character_width();
int unit_character_height();

// The size of a dialog's menu bar, 0 without one.
int menu_bar_height(const Window &dialog);
