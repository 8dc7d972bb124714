// What the files of the window model share with each other.
#pragma once

#include "platform/window_model/window.h"

// Whether the window has been created and not yet destroyed.
bool model_is_alive(const Window *window);

// A new record in the model's keeping.
Window *model_add(WindowKind kind);

// Removes the record from the model, with its messages and timers.
void model_remove(Window *window);

// Drops the messages and timers of a window.
void model_forget_messages(const Window *window);

// A dialog of the template with its controls and menu bar; not shown, no message sent.
Window *model_create_dialog(const DialogTemplate &dialog, Window *owner,
                            WindowProcedure procedure);

// What the platform does with a message that a dialog's procedure left to it.
Param model_default_dialog(Window &dialog, unsigned message, Param first);

long model_next_number();
