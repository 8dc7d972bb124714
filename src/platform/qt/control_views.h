// The widgets that stand for the controls of a dialog.
#pragma once

class QWidget;
struct Window;

// Once, before the first of them.
void control_views_start();

// A new widget, placed and shown as the record says; the parent owns it.
QWidget *make_control_view(Window &control, QWidget *parent);

// Shows the record's text.
void update_control_text(Window &control);
