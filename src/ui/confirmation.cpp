#include "ui/confirmation.h"

bool operator_agrees(Window *owner, const char *text, const char *caption)
{
    if (message_box_to_front(text)) {
        return false;
    }
    return message_box(owner, text, caption,
                       BOX_YES_NO | BOX_DEFAULT_NO | BOX_QUESTION | BOX_TOPMOST) !=
           BOX_NO;
}
