// The question before a close-down.
#pragma once

#include "platform/windows.h"

// Asks with Yes and No, No being the default. False for the answer No alone: a box that
// cannot be shown holds nobody up. Asked again while it is open, the question comes to
// the front; the answer is given to who asked first.
bool operator_agrees(Window *owner, const char *text, const char *caption);
