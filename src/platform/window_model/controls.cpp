#include "platform/window_model/display.h"
#include "platform/window_model/window.h"

#include <algorithm>
#include <cassert>

namespace
{

size_t place_in_ring(const Window &list, size_t index)
{
    assert(index < list.entries.size() && list.entry_count <= list.entries.size());
    return (list.first_entry + index) % list.entries.size();
}

} // namespace

int list_count(const Window *list)
{
    return static_cast<int>(list->entry_count);
}

void list_append(Window *list, const char *text, Weight weight)
{
    if (list->entry_count == list->entries.size()) {
        // The ring is full: rotated so that the oldest entry comes first, then longer.
        std::rotate(list->entries.begin(),
                    list->entries.begin() + static_cast<ptrdiff_t>(list->first_entry),
                    list->entries.end());
        list->first_entry = 0;
        list->entries.emplace_back();
    }
    list->entries[place_in_ring(*list, list->entry_count)] = text;
    list->entry_count++;
    display_list_appended(*list, weight);
}

void list_delete_first(Window *list)
{
    if (list->entry_count > 0) {
        list->first_entry = (list->first_entry + 1) % list->entries.size();
        list->entry_count--;
        display_list_removed(*list);
    }
}

void list_clear(Window *list)
{
    list->first_entry = 0;
    list->entry_count = 0;
    list->top_entry = 0;
    display_list_removed(*list);
}

Rect list_entry_rect(const Window *list, int index)
{
    const int height = display_list_entry_height(*list);
    const int top = (index - list->top_entry) * height;
    return {0, top, list->place.right - list->place.left, top + height};
}

void list_set_top(Window *list, int index)
{
    list->top_entry = index;
    display_list_scrolled(*list);
}

void list_set_extent(Window *list, int width)
{
    list->extent = width;
    display_list_extent_changed(*list);
}

const char *list_entry(const Window *list, int index)
{
    if (index < 0 || index >= list_count(list)) {
        return nullptr;
    }
    return list->entries[place_in_ring(*list, static_cast<size_t>(index))].c_str();
}
