#include "platform/window_model/display.h"
#include "platform/window_model/model.h"

namespace
{

int scaled(int units, int base, int per)
{
    return (units * base + per / 2) / per;
}

std::unique_ptr<Window> make_control(const ControlTemplate &layout, Window *dialog)
{
    const int x = display_base_unit_x();
    const int y = display_base_unit_y();
    auto control = std::make_unique<Window>();
    control->kind = KIND_CONTROL;
    control->number = model_next_number();
    control->id = layout.id;
    control->control = &layout;
    control->owner = dialog;
    control->text = layout.text != nullptr ? layout.text : "";
    control->shown = (layout.style & STYLE_HIDDEN) == 0;
    control->place = {scaled(layout.x, x, 4), scaled(layout.y, y, 8),
                      scaled(layout.x + layout.width, x, 4),
                      scaled(layout.y + layout.height, y, 8)};
    return control;
}

MenuBarEntry make_menu(const MenuTemplate &layout)
{
    MenuBarEntry entry{layout.text, layout.id, nullptr};
    if (layout.id == 0) {
        entry.popup = std::make_unique<Menu>();
        for (const MenuItemTemplate &item : layout.items) {
            entry.popup->items.push_back({item.id, item.text});
        }
    }
    return entry;
}

MenuItem *find_item(Menu *menu, int id)
{
    for (MenuItem &item : menu->items) {
        if (item.id == id) {
            return &item;
        }
    }
    return nullptr;
}

bool has_ended(void *dialog)
{
    return static_cast<Window *>(dialog)->ended;
}

} // namespace

Window *model_create_dialog(const DialogTemplate &layout, Window *owner,
                            WindowProcedure procedure)
{
    Window *dialog = model_add(KIND_DIALOG);
    dialog->dialog = &layout;
    dialog->procedure = procedure;
    dialog->owner = owner;
    dialog->text = layout.caption;
    dialog->icon = layout.icon;
    for (const ControlTemplate &control : layout.controls) {
        dialog->controls.push_back(make_control(control, dialog));
    }
    for (const MenuTemplate &menu : layout.menu_bar) {
        dialog->menu_bar.push_back(make_menu(menu));
    }
    int frame_width = 0;
    int frame_height = 0;
    display_frame_size(*dialog, &frame_width, &frame_height);
    dialog->place = {0, 0, scaled(layout.width, display_base_unit_x(), 4) + frame_width,
                     scaled(layout.height, display_base_unit_y(), 8) + frame_height};
    display_created(*dialog);
    return dialog;
}

Param model_default_dialog(Window &dialog, unsigned message, Param first)
{
    switch (message) {
    case MESSAGE_CLOSE:
        send_message(&dialog, MESSAGE_COMMAND, COMMAND_CANCEL, 0);
        break;
    case MESSAGE_SYSTEM_COMMAND:
        if (first == SYSTEM_RESTORE) {
            window_show(&dialog, true);
        }
        break;
    default:
        break;
    }
    return 0;
}

void model_dialog_command(Window &dialog, int id)
{
    post_message(&dialog, MESSAGE_COMMAND, id, 0);
}

Window *dialog_create(const DialogTemplate &layout, Window *owner,
                      WindowProcedure procedure)
{
    Window *dialog = model_create_dialog(layout, owner, procedure);
    send_message(dialog, MESSAGE_INIT_DIALOG, 0, 0);
    if ((layout.style & STYLE_VISIBLE) != 0) {
        window_show(dialog, true);
    }
    return dialog;
}

int dialog_run(const DialogTemplate &layout, Window *owner, WindowProcedure procedure)
{
    Window *dialog = model_create_dialog(layout, owner, procedure);
    dialog->modal = true;
    send_message(dialog, MESSAGE_INIT_DIALOG, 0, 0);
    dialog->shown = true;
    int result = -1;
    if (display_modal_changed(*dialog, true)) {
        model_run_until(has_ended, dialog);
        result = dialog->ended ? dialog->result : -1;
        if (!dialog->ended) {
            dialog_end(dialog, result); // the program ends
        }
    }
    dialog->ended = true;
    window_destroy(dialog);
    return result;
}

void dialog_end(Window *dialog, int result)
{
    dialog->ended = true;
    dialog->result = result;
    if (dialog->shown) {
        // At once: the loops of dialogs that were opened later may still run.
        dialog->shown = false;
        display_modal_changed(*dialog, false);
    }
}

Window *dialog_item(Window *dialog, int id)
{
    if (dialog == nullptr) {
        return nullptr;
    }
    for (const auto &control : dialog->controls) {
        if (control->id == id) {
            return control.get();
        }
    }
    return nullptr;
}

Menu *popup_create()
{
    return new Menu;
}

void popup_append(Menu *menu, int id, const char *text)
{
    menu->items.push_back({id, text});
}

void popup_track(Menu *menu, Window *window)
{
    const int id = display_track_popup(*menu);
    if (id != 0 && model_is_alive(window)) {
        post_message(window, MESSAGE_COMMAND, id, 0);
    }
}

void popup_destroy(Menu *menu)
{
    delete menu;
}

void menu_set_text(Menu *menu, int id, const char *text)
{
    MenuItem *item = find_item(menu, id);
    if (item != nullptr) {
        item->text = text;
        display_menu_text_changed(*menu, id);
    }
}
