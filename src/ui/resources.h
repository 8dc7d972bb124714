// The layouts of the dialogs and menus.
#pragma once

#include "platform/resources.h"

extern const DialogTemplate status_dialog;        // 109
extern const DialogTemplate about_dialog;         // 123
extern const DialogTemplate configuration_dialog; // 129
