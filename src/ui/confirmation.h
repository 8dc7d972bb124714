// The question before a close-down.
#pragma once

#include "platform/windows.h"

// Asks with Yes and No, No being the default. False for the answer No alone: a box that
// cannot be shown holds nobody up.
bool operator_agrees(Window *owner, const char *text, const char *caption);
