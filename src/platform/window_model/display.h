// What a display provides to the window model. One display is linked: headless or qt.
// Every call is made on the program's thread, with records of
// platform/window_model/window.h that the model has already brought up to date.
#pragma once

#include "platform/shell.h"
#include "platform/window_model/window.h"

// Before anything else; false when there is no screen to be had.
bool display_start(int argc, char **argv);
void display_stop();

// Waits until sockets are ready (posix/events.h), the display has input of its own, or
// `milliseconds` have passed (-1: however long). Input becomes messages, posted or sent.
void display_wait(int milliseconds);

int display_screen_width();
int display_screen_height();
void display_waiting_cursor(bool waiting);

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

// Runs the model's loop nested (model_run_until) while it is open.
int display_message_box(Window *owner, const char *text, const char *caption,
                        unsigned style);
// Whether a popup menu, or one more item of it, can be had.
bool display_popup_can_be_made();
bool display_popup_can_grow(const Menu &menu);
// Opens the menu at the cursor: the id chosen, 0 for none.
int display_track_popup(Menu &menu);

bool display_tray_icon(TrayOperation operation, const TrayIcon &icon);
bool display_shell_open(const char *path, const char *start_directory);

// Drawing. A context is the display's own record.
DeviceContext *display_context(Window &window);
void display_context_release(DeviceContext *context);
int display_text_width(DeviceContext *context, const char *text);
void display_draw_line(DeviceContext *context, const int (*points)[2], int count,
                       Colour colour);
void display_draw_text(DeviceContext *context, int x, int y, const char *text,
                       int length);
void display_draw_push_button(DeviceContext *context, const Rect &rect, bool pressed);
int display_draw_picture(DeviceContext *context, int x, int y, int picture);
Colour display_window_background();

// --- What the model offers to the displays

// Dispatches messages until `done` says so or the quit message has been posted; sockets
// and timers are served meanwhile. Returns false after a quit message.
bool model_run_until(bool (*done)(void *), void *context);

// The desktop session ends: MESSAGE_CLOSE to the window that asked for it.
void model_close_request();

// A dialog's control was activated, or its close box / Escape / Enter used.
void model_dialog_command(Window &dialog, int id);
