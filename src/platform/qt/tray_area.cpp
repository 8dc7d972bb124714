#include "platform/qt/tray_area.h"

#include "platform/qt/x11.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QTimerEvent>

#include <cstdlib>

namespace
{

constexpr int XEMBED_PERIOD = 1000; // milliseconds between two looks
constexpr char XEMBED_SELECTION[] = "_NET_SYSTEM_TRAY_S0";

const QString WATCHER = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString WATCHER_PATH = QStringLiteral("/StatusNotifierWatcher");

bool xembed_area_is_there()
{
    xcb_connection_t *connection = x11_connection();
    if (connection == nullptr) {
        return false;
    }
    const auto cookie = xcb_get_selection_owner(connection, x11_atom(XEMBED_SELECTION));
    xcb_get_selection_owner_reply_t *reply =
        xcb_get_selection_owner_reply(connection, cookie, nullptr);
    const bool there = reply != nullptr && reply->owner != XCB_WINDOW_NONE;
    free(reply);
    return there;
}

} // namespace

TrayAreaWatch::TrayAreaWatch(std::function<void()> changed)
    : changed_(std::move(changed)), xembed_(xembed_area_is_there())
{
    if (x11_connection() != nullptr) {
        xembed_timer_.start(XEMBED_PERIOD, this);
    }
    if (QDBusConnection::sessionBus().isConnected()) {
        watch_notifier();
    } else {
        notifier_is_known_ = true;
    }
}

TrayArea TrayAreaWatch::preferred() const
{
    return !notifier_is_known_ ? TrayArea::NONE
           : notifier_watcher_ ? TrayArea::NOTIFIER
           : xembed_           ? TrayArea::XEMBED
                               : TrayArea::NONE;
}

bool TrayAreaWatch::shows(TrayArea area) const
{
    return (area == TrayArea::NOTIFIER && notifier_host_) ||
           (area == TrayArea::XEMBED && xembed_);
}

void TrayAreaWatch::watch_notifier()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    auto *watcher = new QDBusServiceWatcher(
        WATCHER, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            &TrayAreaWatch::ask_for_notifier);
    for (const auto *change : {"Registered", "Unregistered"}) {
        bus.connect(WATCHER, WATCHER_PATH, WATCHER,
                    QStringLiteral("StatusNotifierHost%1").arg(QLatin1String(change)),
                    this, SLOT(ask_for_notifier()));
    }
    ask_for_notifier();
}

void TrayAreaWatch::ask_for_notifier()
{
    QDBusMessage question = QDBusMessage::createMethodCall(
        WATCHER, WATCHER_PATH, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    question.setAutoStartService(false);
    question << WATCHER << QStringLiteral("IsStatusNotifierHostRegistered");
    auto *answer = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(question), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        set_notifier(reply.isValid(),
                     reply.isValid() && reply.value().variant().toBool());
        answer->deleteLater();
    });
}

void TrayAreaWatch::set_notifier(bool watcher, bool host)
{
    notifier_is_known_ = true;
    notifier_watcher_ = watcher;
    notifier_host_ = host;
    changed_();
}

void TrayAreaWatch::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != xembed_timer_.timerId()) {
        return;
    }
    const bool there = xembed_area_is_there();
    if (there != xembed_) {
        xembed_ = there;
        changed_();
    }
}
