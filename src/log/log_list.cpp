#include "log/log_list.h"

#include "base/gateway.h"
#include "base/resource_ids.h"

#include <cstring>

namespace
{

constexpr int ENTRY_LIMIT = 500; // with more, the oldest goes before one is added

int item_height;   // 0: not measured yet
int widest_extent; // the extent only ever grows

int text_width(const char *text, Window *window)
{
    DeviceContext *context = window_context(window);
    if (context == nullptr) {
        return 0;
    }
    const int width = context_text_width(context, text);
    context_release(context);
    return width;
}

void widen_list_extent(Window *list, const char *text)
{
    const int width = text_width(text, list);
    if (width > window_client_rect(list).right && width > widest_extent) {
        widest_extent = width;
        list_set_extent(list, width);
    }
}

void show_newest(Window *list)
{
    if (item_height == 0) {
        const Rect rect = list_entry_rect(list, 0);
        item_height = rect.bottom - rect.top + 1;
    }
    const int visible = (window_client_rect(list).bottom + 1) / item_height;
    const int count = list_count(list);
    if (count > visible) {
        list_set_top(list, count - visible);
    }
}

} // namespace

Window *log_list()
{
    return dialog_item(gateway.statusWindow, CONTROL_LOG_LIST);
}

void log_list_add(Window *list, char *text, Weight weight)
{
    if (list_count(list) > ENTRY_LIMIT) {
        list_delete_first(list);
    }
    text[strcspn(text, "\r\n")] = '\0';
    list_append(list, text, weight);
    show_newest(list);
    widen_list_extent(list, text);
}
