#include "platform/qt/window_manager.h"

#include "platform/qt/x11.h"

#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <chrono>
#include <thread>

namespace
{

constexpr uint32_t STATE_REMOVE = 0;
constexpr uint32_t STATE_ADD = 1;
constexpr uint32_t FROM_APPLICATION = 1;

constexpr char EXTENTS[] = "_NET_FRAME_EXTENTS";
constexpr char REQUEST_EXTENTS[] = "_NET_REQUEST_FRAME_EXTENTS";
constexpr std::chrono::milliseconds ANSWER_LIMIT{200};
constexpr std::chrono::milliseconds ANSWER_PERIOD{2};

QMargins last_frame;

// Window managers that tell a frame beforehand say that they do.
bool tells_frames()
{
    const std::vector<uint32_t> supported = x11_property(x11_root(), "_NET_SUPPORTED");
    return std::find(supported.begin(), supported.end(), x11_atom(REQUEST_EXTENTS)) !=
           supported.end();
}

QMargins in_units(const std::vector<uint32_t> &extents, double ratio)
{
    const auto unit = [ratio](uint32_t pixels) { return qRound(pixels / ratio); };
    return {unit(extents[0]), unit(extents[2]), unit(extents[1]), unit(extents[3])};
}

} // namespace

void keep_above_others(const QWidget &window, bool above)
{
    QWindow *handle = window.windowHandle();
    if (handle == nullptr) {
        return;
    }
    if (x11_connection() == nullptr) {
        handle->setFlag(Qt::WindowStaysOnTopHint, above);
        return;
    }
    x11_ask_window_manager(static_cast<xcb_window_t>(handle->winId()), "_NET_WM_STATE",
                           {above ? STATE_ADD : STATE_REMOVE,
                            x11_atom("_NET_WM_STATE_ABOVE"), 0, FROM_APPLICATION, 0});
}

QMargins frame_to_be(const QWidget &window)
{
    if (x11_connection() == nullptr || !tells_frames()) {
        return last_frame;
    }
    const auto number = static_cast<xcb_window_t>(window.winId());
    x11_ask_window_manager(number, REQUEST_EXTENTS, {});
    const auto end = std::chrono::steady_clock::now() + ANSWER_LIMIT;
    while (std::chrono::steady_clock::now() < end) {
        const std::vector<uint32_t> extents = x11_property(number, EXTENTS);
        if (extents.size() == 4) {
            return in_units(extents, window.devicePixelRatioF());
        }
        std::this_thread::sleep_for(ANSWER_PERIOD);
    }
    return last_frame;
}

QMargins frame_of(const QWidget &window)
{
    const QRect outer = window.frameGeometry();
    const QRect inner = window.geometry();
    last_frame = {inner.left() - outer.left(), inner.top() - outer.top(),
                  outer.right() - inner.right(), outer.bottom() - inner.bottom()};
    return last_frame;
}
