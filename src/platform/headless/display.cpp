// A display that is the terminal: log-list entries on standard output, message boxes on
// standard error. Windows exist in the model only.
#include "platform/window_model/display.h"

#include "platform/headless/operator.h"
#include "platform/headless/standard_output.h"
#include "platform/posix/events.h"
#include "platform/program.h"
#include "platform/shell.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

HeadlessOperator headless_operator = {};

namespace
{

// How soon output that a slow reader did not take is tried again.
constexpr int OUTPUT_RETRY = 50; // milliseconds

constexpr int SCREEN_WIDTH = 1024;
constexpr int SCREEN_HEIGHT = 768;
constexpr int CHARACTER_WIDTH = 6;
constexpr int CHARACTER_HEIGHT = 13;
constexpr int FRAME = 3;
constexpr int CAPTION_HEIGHT = 19;
constexpr int MENU_HEIGHT = 19;

} // namespace

bool display_start(int, char **)
{
    return true;
}

void display_stop()
{
    standard_output_finish();
}

void display_wait(int milliseconds)
{
    if (!standard_output_write()) {
        milliseconds =
            milliseconds < 0 ? OUTPUT_RETRY : std::min(milliseconds, OUTPUT_RETRY);
    }
    events_wait(milliseconds);
}

int screen_width()
{
    return SCREEN_WIDTH;
}

int screen_height()
{
    return SCREEN_HEIGHT;
}

Rect display_free_area()
{
    return {0, 0, SCREEN_WIDTH, SCREEN_HEIGHT};
}

void cursor_show_waiting(bool) {}

int display_base_unit_x()
{
    return CHARACTER_WIDTH;
}

int display_base_unit_y()
{
    return CHARACTER_HEIGHT;
}

void display_frame_size(const Window &dialog, int *width, int *height)
{
    *width = 2 * FRAME;
    *height = 2 * FRAME + CAPTION_HEIGHT + (dialog.menu_bar.empty() ? 0 : MENU_HEIGHT);
}

void display_created(Window &) {}

void display_destroyed(Window &) {}

void display_shown_changed(Window &) {}

void display_moved(Window &) {}

void display_topmost_changed(Window &) {}

void display_text_changed(Window &) {}

void display_icon_changed(Window &) {}

void display_to_front(Window &) {}

void display_repaint(Window &) {}

void display_menu_text_changed(Menu &, int) {}

bool display_modal_changed(Window &dialog, bool running)
{
    if (running && headless_operator.dialog != nullptr) {
        headless_operator.dialog(dialog);
    }
    return !running; // nobody could end it
}

void display_list_appended(Window &list, Weight weight)
{
    standard_output_line(list_entry(&list, list_count(&list) - 1), weight);
}

void display_list_removed(Window &) {}

void display_list_scrolled(Window &) {}

void display_list_extent_changed(Window &) {}

int display_list_entry_height(const Window &)
{
    return CHARACTER_HEIGHT;
}

void display_list_client_size(const Window &list, int *width, int *height)
{
    *width = list.place.right - list.place.left;
    *height = list.place.bottom - list.place.top;
}

bool message_box_to_front(const char *)
{
    return false; // no box stays open
}

int message_box(Window *, const char *text, const char *caption, unsigned style)
{
    if (headless_operator.message_box != nullptr) {
        return headless_operator.message_box(text, caption, style);
    }
    standard_error_box(caption, text);
    return BOX_NOT_SHOWN;
}

int display_track_popup(Menu &menu)
{
    return headless_operator.popup != nullptr ? headless_operator.popup(menu) : 0;
}

void program_error(const char *text)
{
    standard_error_box(nullptr, text);
}

bool tray_icon(TrayOperation operation, const TrayIcon &)
{
    headless_operator.icon_is_there = operation != TRAY_REMOVE;
    return true;
}

bool shell_open(const char *, const char *)
{
    return false; // there is no shell here
}

// Nothing is drawn, but texts have a width.
DeviceContext *window_context(Window *window)
{
    return reinterpret_cast<DeviceContext *>(window);
}

void context_release(DeviceContext *) {}

int context_text_width(DeviceContext *, const char *text)
{
    return static_cast<int>(strlen(text)) * CHARACTER_WIDTH;
}

void draw_line(DeviceContext *, const int (*)[2], int, Colour) {}

void draw_text(DeviceContext *, int, int, const char *, int) {}

void draw_push_button(DeviceContext *, const Rect &, bool) {}

int draw_picture(DeviceContext *, int, int, int)
{
    return 0;
}

Colour window_background()
{
    return {255, 255, 255};
}
