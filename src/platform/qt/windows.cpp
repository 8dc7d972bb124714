// Windows, dialogs and lists as the window model reports their changes.
#include "platform/window_model/display.h"

#include "platform/qt/control_views.h"
#include "platform/qt/dialog_view.h"
#include "platform/qt/list_view.h"
#include "platform/qt/pictures.h"
#include "platform/qt/screen.h"
#include "platform/qt/text.h"
#include "platform/qt/window_manager.h"

#include <QApplication>
#include <QMenu>
#include <QPushButton>

namespace
{

// Null for what has no place on the screen: plain windows, and everything once the
// screen is gone.
DialogView *dialog_view(const Window &window)
{
    return window.kind == KIND_DIALOG && screen_is_there()
               ? static_cast<DialogView *>(window.view)
               : nullptr;
}

QWidget *widget_of(const Window &window)
{
    return screen_is_there() ? static_cast<QWidget *>(window.view) : nullptr;
}

ListView *list_view(const Window &list)
{
    return static_cast<ListView *>(widget_of(list));
}

void refresh_list(const Window &list)
{
    if (ListView *view = list_view(list)) {
        view->refresh_soon();
    }
}

} // namespace

void display_frame_size(const Window &dialog, int *width, int *height)
{
    QSize frame(0, menu_bar_height(dialog));
    if (const DialogView *view = dialog_view(dialog)) {
        frame += view->frame_size();
    }
    *width = frame.width();
    *height = frame.height();
}

void display_created(Window &window)
{
    if (!screen_is_there()) {
        return;
    }
    if (window.kind == KIND_DIALOG) {
        window.view = new DialogView(window);
    } else if (QApplication::windowIcon().isNull()) {
        QApplication::setWindowIcon(icon(window.icon)); // for dialogs without their own
    }
}

void display_destroyed(Window &window)
{
    delete dialog_view(window);
    window.view = nullptr;
}

void display_shown_changed(Window &window)
{
    if (DialogView *view = dialog_view(window)) {
        if (window.shown) {
            view->show_in_place();
        } else {
            view->hide_away();
        }
    } else if (QWidget *widget = widget_of(window)) {
        widget->setVisible(window.shown);
    }
}

void display_moved(Window &window)
{
    if (DialogView *view = dialog_view(window)) {
        view->move_to_record();
    }
}

void display_topmost_changed(Window &window)
{
    const DialogView *view = dialog_view(window);
    if (view != nullptr && view->isVisible()) {
        keep_above_others(*view, window.topmost);
    }
}

void display_text_changed(Window &window)
{
    if (DialogView *view = dialog_view(window)) {
        view->setWindowTitle(to_qt(window.text));
    } else if (window.kind == KIND_CONTROL && widget_of(window) != nullptr) {
        update_control_text(window);
    }
}

void display_icon_changed(Window &window)
{
    if (DialogView *view = dialog_view(window)) {
        view->setWindowIcon(icon(window.icon));
    }
}

void display_to_front(Window &window)
{
    if (DialogView *view = dialog_view(window)) {
        view->to_front();
    }
}

void display_repaint(Window &window)
{
    if (QWidget *widget = widget_of(window)) {
        widget->update();
    }
}

void display_menu_text_changed(Menu &menu, int)
{
    if (menu.view != nullptr && screen_is_there()) {
        label_menu(menu);
    }
}

bool display_modal_changed(Window &dialog, bool running)
{
    DialogView *view = dialog_view(dialog);
    if (view == nullptr) {
        return false;
    }
    if (!running) {
        view->hide();
        return true;
    }
    if (auto *button = view->findChild<QPushButton *>()) {
        button->setFocus();
    }
    view->show_in_place();
    view->to_front();
    return true;
}

void display_list_appended(Window &list, Weight)
{
    if (ListView *view = list_view(list)) {
        view->entry_appended();
    }
}

void display_list_removed(Window &list)
{
    if (ListView *view = list_view(list)) {
        view->entries_removed();
    }
}

void display_list_scrolled(Window &list)
{
    refresh_list(list);
}

void display_list_extent_changed(Window &list)
{
    refresh_list(list);
}

int display_list_entry_height(const Window &list)
{
    const ListView *view = list_view(list);
    return view != nullptr ? view->entry_height() : unit_character_height();
}

void display_list_client_size(const Window &list, int *width, int *height)
{
    QSize size(list.place.right - list.place.left, list.place.bottom - list.place.top);
    if (const ListView *view = list_view(list)) {
        size = view->viewport()->size();
    }
    *width = size.width();
    *height = size.height();
}
