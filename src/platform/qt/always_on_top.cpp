#include "platform/qt/always_on_top.h"

#include <QApplication>
#include <QWidget>
#include <QWindow>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

namespace
{

constexpr uint32_t STATE_REMOVE = 0;
constexpr uint32_t STATE_ADD = 1;
constexpr uint32_t FROM_APPLICATION = 1;

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    const auto cookie =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(strlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    xcb_atom_t result = XCB_ATOM_NONE;
    if (reply != nullptr) {
        result = reply->atom;
    }
    free(reply);
    return result;
}

void ask_window_manager(xcb_connection_t *connection, xcb_window_t window, bool above)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(connection, "_NET_WM_STATE");
    event.data.data32[0] = above ? STATE_ADD : STATE_REMOVE;
    event.data.data32[1] = atom(connection, "_NET_WM_STATE_ABOVE");
    event.data.data32[3] = FROM_APPLICATION;

    const xcb_window_t root =
        xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_send_event(connection, 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY |
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(connection);
}

} // namespace

void keep_above_others(const QWidget &window, bool above)
{
    QWindow *handle = window.windowHandle();
    if (handle == nullptr) {
        return;
    }
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 != nullptr) {
        ask_window_manager(x11->connection(), static_cast<xcb_window_t>(handle->winId()),
                           above);
    } else {
        handle->setFlag(Qt::WindowStaysOnTopHint, above);
    }
}
