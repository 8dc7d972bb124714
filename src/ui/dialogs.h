// The two information dialogs. They change nothing.
#pragma once

#include "platform/windows.h"

void run_about_dialog();
void run_configuration_dialog();

Param about_dialog_proc(Window *window, unsigned message, Param first, Param second);
Param config_dialog_proc(Window *window, unsigned message, Param first, Param second);
