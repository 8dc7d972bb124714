// Windows, dialogs, controls, messages and timers, as the server knows them.
//
// Everything happens on one thread. A window's procedure is called for each message;
// modal dialogs, message boxes and menus run the same message loop nested, so
// sockets and timers are served while one is open. Which display draws the windows
// is chosen when the program is linked; the model holds without any.
#pragma once

#include <cstdint>

#include "platform/resources.h"
#include "platform/weight.h"

struct Window; // a window, a dialog or a control; gone when destroyed

using Param = std::intptr_t;
using WindowProcedure = Param (*)(Window *window, unsigned message, Param first,
                                  Param second);

// Messages. Those below MESSAGE_USER come from the platform.
inline constexpr unsigned MESSAGE_EMPTY = 0;
inline constexpr unsigned MESSAGE_DESTROY = 2;
inline constexpr unsigned MESSAGE_PAINT = 15; // first: DeviceContext or 0
inline constexpr unsigned MESSAGE_CLOSE = 16;
inline constexpr unsigned MESSAGE_DRAW_ITEM =
    43; // first: control id, second: const DrawItem *
inline constexpr unsigned MESSAGE_INIT_DIALOG = 272;
inline constexpr unsigned MESSAGE_COMMAND = 273; // first: id, notification code << 16
inline constexpr unsigned MESSAGE_SYSTEM_COMMAND = 274; // first: SYSTEM_...
inline constexpr unsigned MESSAGE_TIMER = 275;          // first: the timer
inline constexpr unsigned MESSAGE_INIT_MENU_POPUP =
    279; // first: Menu, second: its position
inline constexpr unsigned MESSAGE_USER = 1024;

inline constexpr Param SYSTEM_MINIMIZE = 0xF020;
inline constexpr Param SYSTEM_RESTORE = 0xF120;

inline constexpr int COMMAND_OK = 1;     // Enter, or the button with this id
inline constexpr int COMMAND_CANCEL = 2; // Escape, the close box

struct Rect {
    int left, top, right, bottom;
};

// --- Windows

struct WindowClass {
    const char *name;
    WindowProcedure procedure;
    int icon; // resource id, 0 for none
};

// False when the name is taken. The name must outlive the class.
bool class_register(const WindowClass &window_class);
void class_unregister(const char *name);

// A hidden window; null when the class is not registered. It is destroyed with its
// `parent`, if it has one.
Window *window_create(const char *class_name, const char *title, const Rect &place,
                      Window *parent);

// Sends MESSAGE_DESTROY to the window, then destroys what it owns.
void window_destroy(Window *window);

// What a window procedure does with a message that it leaves to the platform.
Param default_window_procedure(Window *window, unsigned message, Param first,
                               Param second);

// A number that stands for the window in files; never 0.
long window_number(const Window *window);

void window_show(Window *window, bool shown);  // shown: in its normal state
void window_to_front(Window *window);          // foreground, keyboard focus
Rect window_rect(const Window *window);        // on the screen, frame included
Rect window_client_rect(const Window *window); // left and top are 0
// Both keep the size. A place out of the mouse's reach, as when a larger screen has gone,
// is kept as the window's own until the user moves it, who sees it on the screen.
void window_move(Window *window, int left, int top);
// As near to the place as the whole window has room beside the desktop's panels.
void window_move_inside(Window *window, int left, int top);
void window_set_topmost(Window *window, bool topmost);
void window_set_text(Window *window, const char *text);
int window_text(const Window *window, char *text, int size); // bytes copied
void window_set_icon(Window *window, int icon);
void window_repaint(Window *window); // asks for it; it happens later

int screen_width();
int screen_height();
void cursor_show_waiting(bool waiting);

// --- Messages

struct Message {
    Window *window;
    unsigned message;
    Param first, second;
};

void post_message(Window *window, unsigned message, Param first, Param second);
Param send_message(Window *window, unsigned message, Param first, Param second);
void post_quit_message(int code);

// Waits for the thread's next message. False when it is the quit message, whose code
// is then in `first`.
bool next_message(Message *message);
void dispatch_message(const Message &message);

// The window that gets MESSAGE_CLOSE when the system asks the program to end
// (SIGTERM, SIGINT, SIGHUP, the desktop session's end).
void close_requests_go_to(Window *window);

// MESSAGE_TIMER every `period` milliseconds; late ticks are not made up for.
// Returns the timer, 0 when there is none to be had.
int timer_start(Window *window, int period);
void timer_stop(int timer);

// --- Dialogs. A dialog's procedure answers 1 for a message that it has handled and 0
// for one that it leaves to the platform.

// A modeless dialog, shown only if its template says so. It gets MESSAGE_INIT_DIALOG.
Window *dialog_create(const DialogTemplate &dialog, Window *owner,
                      WindowProcedure procedure);

// Runs a modal dialog until dialog_end; its result. -1 when it cannot be shown.
int dialog_run(const DialogTemplate &dialog, Window *owner, WindowProcedure procedure);
void dialog_end(Window *dialog, int result);

// The control with this id, or null.
Window *dialog_item(Window *dialog, int id);

// --- List box: entries in the order appended.

int list_count(const Window *list);
void list_append(Window *list, const char *text, Weight weight = WEIGHT_NOTE);
void list_delete_first(Window *list);
void list_clear(Window *list);
Rect list_entry_rect(const Window *list, int index);
void list_set_top(Window *list, int index);    // the entry on the first visible line
void list_set_extent(Window *list, int width); // pixels the horizontal bar can reach
const char *list_entry(const Window *list, int index); // null beyond the last

// --- Message boxes

inline constexpr unsigned BOX_YES_NO = 1;     // else OK alone
inline constexpr unsigned BOX_DEFAULT_NO = 2; // else the first button
inline constexpr unsigned BOX_QUESTION = 4;
inline constexpr unsigned BOX_EXCLAMATION = 8;
inline constexpr unsigned BOX_TOPMOST = 16; // and to the foreground
inline constexpr unsigned BOX_SYSTEM_MODAL = 32;

inline constexpr int BOX_NOT_SHOWN = 0;
inline constexpr int BOX_OK = 1;
inline constexpr int BOX_YES = 6;
inline constexpr int BOX_NO = 7;

// The button pressed, or BOX_NOT_SHOWN. `caption` null: the platform's own.
int message_box(Window *owner, const char *text, const char *caption, unsigned style);

// Brings the box with this text to the front. False when none is open.
bool message_box_to_front(const char *text);

// --- Menus

struct Menu;

Menu *popup_create();
void popup_append(Menu *menu, int id, const char *text);
// Opens the menu at the cursor and waits; the item chosen is posted to `window` as a
// command.
void popup_track(Menu *menu, Window *window);
void popup_destroy(Menu *menu);
// Changes the text of an item, also of a popup of a window's menu bar.
void menu_set_text(Menu *menu, int id, const char *text);

// --- Drawing, in client coordinates of a window or of an owner-drawn control.

struct DeviceContext;

struct DrawItem {
    int id;
    DeviceContext *context;
    Rect rect;
    bool pressed;
};

struct Colour {
    unsigned char red, green, blue;
};

DeviceContext *window_context(Window *window); // null when there is nothing to draw on
void context_release(DeviceContext *context);
int context_text_width(DeviceContext *context, const char *text); // pixels
void draw_line(DeviceContext *context, const int (*points)[2], int count, Colour colour);
void draw_text(DeviceContext *context, int x, int y, const char *text, int length);
void draw_push_button(DeviceContext *context, const Rect &rect, bool pressed);
// Draws a picture at its natural size; its width in pixels, 0 when there is none.
int draw_picture(DeviceContext *context, int x, int y, int picture);
Colour window_background();
// A control's rectangle in its dialog's client coordinates.
Rect control_rect(const Window *control);
