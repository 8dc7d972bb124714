#include "platform/qt/x11.h"

#include "platform/qt/screen.h"

#include <QGuiApplication>

#include <cassert>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{

constexpr uint32_t LONGEST_PROPERTY = 1024; // values

// What a request brings is the caller's to release.
template <typename Reply> auto owned(Reply *reply)
{
    return std::unique_ptr<Reply, decltype(&free)>(reply, free);
}

} // namespace

xcb_connection_t *x11_connection()
{
    if (!screen_is_there()) {
        return nullptr;
    }
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

xcb_window_t x11_root()
{
    assert(x11_connection() != nullptr);
    return xcb_setup_roots_iterator(xcb_get_setup(x11_connection())).data->root;
}

xcb_atom_t x11_atom(const char *name)
{
    xcb_connection_t *connection = x11_connection();
    assert(connection != nullptr);
    const auto cookie =
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(strlen(name)), name);
    const auto reply = owned(xcb_intern_atom_reply(connection, cookie, nullptr));
    return reply != nullptr ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

std::vector<uint32_t> x11_property(xcb_window_t window, const char *name)
{
    xcb_connection_t *connection = x11_connection();
    assert(connection != nullptr);
    const auto cookie = xcb_get_property(connection, 0, window, x11_atom(name),
                                         XCB_GET_PROPERTY_TYPE_ANY, 0, LONGEST_PROPERTY);
    const auto reply = owned(xcb_get_property_reply(connection, cookie, nullptr));
    if (reply == nullptr || reply->format != 32) {
        return {};
    }
    const auto *values =
        static_cast<const uint32_t *>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

void x11_ask_window_manager(xcb_window_t window, const char *message,
                            const std::array<uint32_t, 5> &data)
{
    xcb_connection_t *connection = x11_connection();
    assert(connection != nullptr);
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = x11_atom(message);
    memcpy(event.data.data32, data.data(), sizeof event.data.data32);
    xcb_send_event(connection, 0, x11_root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY |
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
    xcb_flush(connection);
}
