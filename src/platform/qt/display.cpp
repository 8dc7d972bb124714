// A display that is the screen: start, end, and the wait for its input.
#include "platform/window_model/display.h"

#include "platform/clock.h"
#include "platform/posix/events.h"
#include "platform/program.h"
#include "platform/qt/control_views.h"
#include "platform/qt/screen.h"
#include "platform/qt/x11.h"

#include <QApplication>
#include <QDir>
#include <QFontMetricsF>
#include <QMenuBar>
#include <QScreen>
#include <QSessionManager>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace
{

QApplication *application;
QSocketNotifier *notifier; // socket events wait
QTimer *alarm_clock;       // the end of a wait
uint32_t alarm_due;
bool connected;
QtMessageHandler toolkit_says_first;
bool waiting_cursor;

// The session manager tells the program to quit; closing is the server's own work.
class QuitFilter : public QObject
{
  public:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::Quit) {
            return false;
        }
        model_close_request();
        return true;
    }
};

QuitFilter *quit_filter;

// How a desktop session that is restored starts the program: in the same installation.
void begin_again_here(QSessionManager &session)
{
    session.setRestartCommand(
        {QCoreApplication::applicationFilePath(), QDir::currentPath()});
}

bool never(void *)
{
    return false;
}

// Nothing can be shown any more, as when a session ends without a signal: the server is
// closed, and the calls that led here never return.
[[noreturn]] void screen_was_lost()
{
    connected = false;
    model_close_request();
    if (model_close_waits()) {
        _exit(1); // the box of a failed start was open
    }
    model_run_until(never, nullptr);
    _exit(0);
}

bool screen_is_lost(const QString &what_toolkit_says)
{
    if (xcb_connection_t *connection = x11_connection()) {
        return xcb_connection_has_error(connection) != 0;
    }
    return what_toolkit_says.startsWith(QLatin1String("The Wayland connection"));
}

// The toolkit ends the process when the screen's server goes away. It says so before,
// which is the last moment at which the server can still be closed properly. A thread of
// the toolkit's own that is the first to notice goes no further.
void toolkit_says(QtMsgType type, const QMessageLogContext &where, const QString &text)
{
    toolkit_says_first(type, where, text);
    if (!connected || !screen_is_lost(text)) {
        return;
    }
    if (QThread::currentThread() == application->thread()) {
        screen_was_lost();
    }
    QMetaObject::invokeMethod(application, screen_was_lost, Qt::QueuedConnection);
    for (;;) {
        pause();
    }
}

const char *environment(const char *name)
{
    const char *value = getenv(name);
    return value != nullptr && value[0] != '\0' ? value : nullptr;
}

// Asked before the toolkit is started, because it aborts without a screen.
bool screen_can_be_had()
{
    if (environment("QT_QPA_PLATFORM") != nullptr) {
        return true;
    }
    if (environment("DISPLAY") != nullptr) {
        xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
        const bool failed = xcb_connection_has_error(connection) != 0;
        xcb_disconnect(connection);
        if (!failed) {
            // Where both are there: only X places windows and keeps them on top.
            setenv("QT_QPA_PLATFORM", "xcb;wayland", 0);
            return true;
        }
    }
    if (environment("WAYLAND_DISPLAY") == nullptr) {
        return false;
    }
    setenv("QT_QPA_PLATFORM", "wayland", 0);
    return true;
}

// A wake-up that comes early is harmless: the loop asks again how long to wait.
void set_alarm(int milliseconds)
{
    const uint32_t due = tick_count() + static_cast<uint32_t>(milliseconds);
    if (!alarm_clock->isActive() || static_cast<int32_t>(alarm_due - due) > 0) {
        alarm_due = due;
        alarm_clock->start(milliseconds);
    }
}

struct UnitCharacter {
    int width, height;
};

const UnitCharacter &unit_character()
{
    static const UnitCharacter character = [] {
        const QFontMetricsF metrics(QApplication::font());
        const QString letters =
            QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
        const double width = metrics.horizontalAdvance(letters) / 52;
        // Rounded up, so that no text grows out of its field.
        return UnitCharacter{static_cast<int>(std::ceil(width)),
                             static_cast<int>(std::ceil(metrics.height()))};
    }();
    return character;
}

} // namespace

// The toolkit wants this outside every namespace.
static void load_pictures()
{
    Q_INIT_RESOURCE(pictures);
}

bool display_start(int, char **argv)
{
    if (!screen_can_be_had()) {
        fputs("qlnsmtp: there is no screen; qlnsmtpd serves without one\n", stderr);
        return false;
    }
    static int argument_count = 1; // the command line is not used
    application = new QApplication(argument_count, argv);
    // The toolkit has taken the user's language; the log stays English.
    for (const int category : {LC_NUMERIC, LC_TIME, LC_MESSAGES}) {
        setlocale(category, "C");
    }
    QApplication::setApplicationName(QStringLiteral("qlnsmtp"));
    QApplication::setDesktopFileName(QStringLiteral("quillon-smtp"));
    QApplication::setQuitOnLastWindowClosed(false);

    load_pictures();
    control_views_start();
    quit_filter = new QuitFilter;
    application->installEventFilter(quit_filter);
    QObject::connect(application, &QGuiApplication::saveStateRequest, begin_again_here);
    notifier = new QSocketNotifier(events_descriptor(), QSocketNotifier::Read);
    alarm_clock = new QTimer;
    alarm_clock->setSingleShot(true);
    alarm_clock->setTimerType(Qt::PreciseTimer);
    connected = true;
    toolkit_says_first = qInstallMessageHandler(toolkit_says);
    return true;
}

void display_stop()
{
    if (!connected) {
        return;
    }
    connected = false;
    delete alarm_clock;
    delete notifier;
    delete application;
    delete quit_filter;
}

void display_wait(int milliseconds)
{
    if (!connected) {
        events_wait(milliseconds);
        return;
    }
    milliseconds = events_limit_wait(milliseconds);
    if (milliseconds == 0) {
        QApplication::processEvents();
    } else {
        if (milliseconds > 0) {
            set_alarm(milliseconds);
        }
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    events_wait(0);
}

bool screen_is_there()
{
    return connected;
}

int unit_character_width()
{
    return unit_character().width;
}

int unit_character_height()
{
    return unit_character().height;
}

int menu_bar_height(const Window &dialog)
{
    if (dialog.menu_bar.empty()) {
        return 0;
    }
    static const int height = [] {
        QMenuBar bar;
        bar.setNativeMenuBar(false);
        bar.addAction(QStringLiteral("File"));
        return bar.sizeHint().height();
    }();
    return height;
}

int display_base_unit_x()
{
    return unit_character_width();
}

int display_base_unit_y()
{
    return unit_character_height();
}

void program_error(const char *text)
{
    fprintf(stderr, "%s\n", text);
}

int screen_width()
{
    return QApplication::primaryScreen()->geometry().width();
}

int screen_height()
{
    return QApplication::primaryScreen()->geometry().height();
}

Rect display_free_area()
{
    return rect_of(QApplication::primaryScreen()->availableGeometry());
}

void cursor_show_waiting(bool waiting)
{
    if (waiting == waiting_cursor) {
        return;
    }
    waiting_cursor = waiting;
    if (waiting) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
    } else {
        QApplication::restoreOverrideCursor();
    }
}
