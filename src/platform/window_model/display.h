// What a display provides to the window model, beside those calls of platform/windows.h
// and platform/shell.h that need no model: screen, cursor, message boxes, contexts and
// drawing, tray icon, shell. One display is linked: headless or qt.
//
// Every call is made on the program's thread, with records of
// platform/window_model/window.h that the model has already brought up to date.
#pragma once

#include "platform/window_model/window.h"

// Before anything else; false when there is no screen to be had.
bool display_start(int argc, char **argv);
void display_stop();

// Waits until sockets are ready (posix/events.h), the display has input of its own, or
// `milliseconds` have passed (-1: however long). Input becomes messages, posted or sent.
void display_wait(int milliseconds);

// What the desktop's panels leave of the screen.
Rect display_free_area();

// The sizes of the dialog unit in pixels, times 4 and times 8.
int display_base_unit_x();
int display_base_unit_y();
// Client area to outer size of a dialog: frame, caption bar and menu bar.
void display_frame_size(const Window &dialog, int *width, int *height);

// Called after the change in the record. Controls are created with their dialog.
void display_created(Window &window);
void display_destroyed(Window &window);
void display_shown_changed(Window &window);
void display_moved(Window &window);
void display_topmost_changed(Window &window);
void display_text_changed(Window &window);
void display_icon_changed(Window &window);
void display_to_front(Window &window);
void display_repaint(Window &window);
void display_menu_text_changed(Menu &menu, int item_id);

// A modal dialog begins (it is shown) or ends. False when it cannot be shown.
bool display_modal_changed(Window &dialog, bool running);

// List boxes.
void display_list_appended(Window &list, Weight weight);
void display_list_removed(Window &list); // the oldest entry, or all of them
void display_list_scrolled(Window &list);
void display_list_extent_changed(Window &list);
int display_list_entry_height(const Window &list);
// The area of a list in which entries are shown, without its scroll bars.
void display_list_client_size(const Window &list, int *width, int *height);

// Opens the menu at the cursor: the id chosen, 0 for none.
int display_track_popup(Menu &menu);

// --- What the model offers to the displays

// Dispatches messages until `done` says so or the quit message has been posted; sockets
// and timers are served meanwhile. Returns false after a quit message.
bool model_run_until(bool (*done)(void *), void *context);

// The desktop session ends: MESSAGE_CLOSE to the window that asked for it.
void model_close_request();

// Such a request came before any window asked for it, while the program is starting. A
// box that is open then ends unanswered.
bool model_close_waits();

// A dialog's control was activated, or its close box / Escape / Enter used.
void model_dialog_command(Window &dialog, int id);
