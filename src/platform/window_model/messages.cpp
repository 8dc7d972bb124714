#include "platform/clock.h"
#include "platform/file_contents.h"
#include "platform/posix/events.h"
#include "platform/service.h"
#include "platform/window_model/display.h"
#include "platform/window_model/model.h"

#include <algorithm>
#include <cassert>
#include <chrono>
#include <deque>
#include <new>
#include <thread>

namespace
{

constexpr std::chrono::milliseconds OUT_OF_MEMORY_PAUSE{10};

struct Timer {
    int id;
    Window *window;
    uint32_t period, due; // milliseconds
};

std::deque<Message> posted;
std::vector<Timer> timers;
int last_timer;

bool quit_posted;
int quit_code;

Window *close_window;
bool close_requested; // by the system, before there was a window to tell

int32_t until(uint32_t due)
{
    return static_cast<int32_t>(due - tick_count());
}

// A timer that is due, as a message. After a late tick the period begins again, so that
// ticks are not made up for.
bool next_timer(Message *message)
{
    for (Timer &timer : timers) {
        const int32_t late = -until(timer.due);
        if (late >= 0) {
            assert(timer.period > 0);
            timer.due += timer.period;
            if (late >= static_cast<int32_t>(timer.period)) {
                timer.due = tick_count() + timer.period;
            }
            *message = {timer.window, MESSAGE_TIMER, timer.id, 0};
            return true;
        }
    }
    return false;
}

int wait_until_timer()
{
    int wait = -1;
    for (const Timer &timer : timers) {
        const int left = std::max(0, until(timer.due));
        wait = wait < 0 ? left : std::min(wait, left);
    }
    return wait;
}

} // namespace

void post_message(Window *window, unsigned message, Param first, Param second)
{
    posted.push_back({window, message, first, second});
}

Param send_message(Window *window, unsigned message, Param first, Param second)
{
    if (!model_is_alive(window) || window->procedure == nullptr) {
        return 0;
    }
    // The window may be gone when its procedure returns.
    const bool is_dialog = window->kind == KIND_DIALOG;
    const Param result = window->procedure(window, message, first, second);
    if (is_dialog && result == 0 && model_is_alive(window)) {
        return model_default_dialog(*window, message, first);
    }
    return result;
}

void post_quit_message(int code)
{
    quit_posted = true;
    quit_code = code;
}

bool next_message(Message *message)
{
    for (;;) {
        if (!posted.empty()) {
            *message = posted.front();
            posted.pop_front();
            return true;
        }
        if (quit_posted) {
            *message = {nullptr, MESSAGE_EMPTY, quit_code, 0};
            return false;
        }
        if (events_next(message)) {
            if (message->window != nullptr) {
                return true;
            }
            model_close_request();
        } else if (next_timer(message)) {
            return true;
        } else {
            display_wait(service_watchdog(wait_until_timer()));
        }
    }
}

void dispatch_message(const Message &message)
{
    // Each event looks at the files again.
    file_contents_invalidate();
    try {
        send_message(message.window, message.message, message.first, message.second);
    } catch (const std::bad_alloc &) {
        // This event is lost rather than everybody's connection. Its cause may come back
        // at once, so the loop must not spin.
        std::this_thread::sleep_for(OUT_OF_MEMORY_PAUSE);
    }
}

bool model_run_until(bool (*done)(void *), void *context)
{
    Message message;
    while (!done(context)) {
        if (!next_message(&message)) {
            return false;
        }
        dispatch_message(message);
    }
    return true;
}

void close_requests_go_to(Window *window)
{
    close_window = window;
    if (close_requested) {
        close_requested = false;
        model_close_request();
    }
}

void model_close_request()
{
    if (close_window == nullptr) {
        close_requested = true;
        post_message(nullptr, MESSAGE_EMPTY, 0, 0); // a box that is open looks again
        return;
    }
    post_message(close_window, MESSAGE_CLOSE, 0, 0);
}

bool model_close_waits()
{
    return close_requested;
}

int timer_start(Window *window, int period)
{
    if (!model_is_alive(window) || period <= 0) {
        return 0;
    }
    const auto milliseconds = static_cast<uint32_t>(period);
    timers.push_back({++last_timer, window, milliseconds, tick_count() + milliseconds});
    return last_timer;
}

void timer_stop(int timer)
{
    std::erase_if(timers, [timer](const Timer &one) { return one.id == timer; });
}

void model_forget_messages(const Window *window)
{
    std::erase_if(posted, [window](const Message &one) { return one.window == window; });
    std::erase_if(timers, [window](const Timer &one) { return one.window == window; });
    if (close_window == window) {
        close_window = nullptr;
    }
}
