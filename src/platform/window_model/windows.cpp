#include "platform/window_model/display.h"
#include "platform/window_model/model.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace
{

std::vector<WindowClass> classes;
std::vector<std::unique_ptr<Window>> windows; // top-level ones and dialogs

auto find_class(const char *name)
{
    return std::find_if(classes.begin(), classes.end(), [name](const WindowClass &one) {
        return strcmp(one.name, name) == 0;
    });
}

} // namespace

bool class_register(const WindowClass &window_class)
{
    if (find_class(window_class.name) != classes.end()) {
        return false;
    }
    classes.push_back(window_class);
    return true;
}

void class_unregister(const char *name)
{
    const auto found = find_class(name);
    if (found != classes.end()) {
        classes.erase(found);
    }
}

long model_next_number()
{
    static long last;
    return static_cast<long>(getpid()) * 4096 + ++last % 4096;
}

bool model_is_alive(const Window *window)
{
    if (window == nullptr) {
        return false;
    }
    return std::any_of(windows.begin(), windows.end(),
                       [window](const auto &one) { return one.get() == window; });
}

Window *model_add(WindowKind kind)
{
    windows.push_back(std::make_unique<Window>());
    Window *window = windows.back().get();
    window->kind = kind;
    window->number = model_next_number();
    return window;
}

void model_remove(Window *window)
{
    model_forget_messages(window);
    std::erase_if(windows, [window](const auto &one) { return one.get() == window; });
}

Window *window_create(const char *class_name, const char *title, const Rect &place,
                      Window *parent)
{
    const auto found = find_class(class_name);
    if (found == classes.end()) {
        return nullptr;
    }
    Window *window = model_add(KIND_WINDOW);
    window->procedure = found->procedure;
    window->icon = found->icon;
    window->text = title;
    window->place = place;
    window->owner = parent;
    display_created(*window);
    return window;
}

void window_destroy(Window *window)
{
    if (!model_is_alive(window)) {
        return;
    }
    if (window->kind == KIND_DIALOG && window->modal && !window->ended) {
        dialog_end(window, 0); // its loop destroys it
        return;
    }
    send_message(window, MESSAGE_DESTROY, 0, 0);
    for (size_t i = 0; i < windows.size();) {
        if (windows[i]->owner == window) {
            window_destroy(windows[i].get());
            i = 0;
        } else {
            i++;
        }
    }
    if (model_is_alive(window)) {
        display_destroyed(*window);
        model_remove(window);
    }
}

Param default_window_procedure(Window *window, unsigned message, Param, Param)
{
    if (message == MESSAGE_CLOSE) {
        window_destroy(window);
    }
    return 0;
}

long window_number(const Window *window)
{
    return window->number;
}

void window_show(Window *window, bool shown)
{
    if (window != nullptr) {
        window->shown = shown;
        display_shown_changed(*window);
    }
}

void window_to_front(Window *window)
{
    if (window != nullptr) {
        display_to_front(*window);
    }
}

Rect window_rect(const Window *window)
{
    return window->place;
}

Rect window_client_rect(const Window *window)
{
    if (window->kind == KIND_CONTROL && window->control->kind == CONTROL_LIST) {
        Rect client{};
        display_list_client_size(*window, &client.right, &client.bottom);
        return client;
    }
    Rect rect = window->place;
    int width = 0;
    int height = 0;
    if (window->kind == KIND_DIALOG) {
        display_frame_size(*window, &width, &height);
    }
    return {0, 0, rect.right - rect.left - width, rect.bottom - rect.top - height};
}

void window_move(Window *window, int left, int top)
{
    Rect &place = window->place;
    place = {left, top, left + place.right - place.left, top + place.bottom - place.top};
    display_moved(*window);
}

void window_set_topmost(Window *window, bool topmost)
{
    window->topmost = topmost;
    display_topmost_changed(*window);
}

void window_set_text(Window *window, const char *text)
{
    if (window != nullptr && window->text != text) {
        window->text = text;
        display_text_changed(*window);
    }
}

int window_text(const Window *window, char *text, int size)
{
    const size_t length = window->text.copy(text, static_cast<size_t>(size) - 1);
    text[length] = '\0';
    return static_cast<int>(length);
}

void window_set_icon(Window *window, int icon)
{
    window->icon = icon;
    display_icon_changed(*window);
}

void window_repaint(Window *window)
{
    if (window != nullptr) {
        display_repaint(*window);
    }
}

Rect control_rect(const Window *control)
{
    return control->place;
}
