// The notification-area icon.
#include "platform/window_model/display.h"

#include "platform/qt/pictures.h"
#include "platform/qt/screen.h"
#include "platform/qt/text.h"
#include "platform/shell.h"

#include <QSystemTrayIcon>
#include <QTimer>

namespace
{

// At the start of a desktop session the area may come up a little after us.
constexpr int PATIENCE = 1500; // milliseconds

QSystemTrayIcon *tray;
TrayIcon shown; // the record last given

void report(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::Trigger) {
        tray_press_left();
    } else if (reason == QSystemTrayIcon::Context) {
        post_message(shown.window, shown.callback, shown.identifier, TRAY_RIGHT_PRESSED);
    }
}

// Nobody must be locked out: without an area, the left press comes from here.
void stop_being_patient()
{
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        tray_press_left();
    }
}

void add(const TrayIcon &record)
{
    tray = new QSystemTrayIcon;
    QObject::connect(tray, &QSystemTrayIcon::activated, report);
    tray->setIcon(icon(record.icon));
    tray->setToolTip(to_qt(record.tip));
    tray->show();
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        auto *patience = new QTimer(tray);
        patience->setSingleShot(true);
        QObject::connect(patience, &QTimer::timeout, stop_being_patient);
        patience->start(PATIENCE);
    }
}

} // namespace

bool tray_is_there()
{
    return tray != nullptr && QSystemTrayIcon::isSystemTrayAvailable();
}

void tray_press_left()
{
    if (tray != nullptr) {
        post_message(shown.window, shown.callback, shown.identifier, TRAY_LEFT_PRESSED);
    }
}

bool tray_icon(TrayOperation operation, const TrayIcon &record)
{
    if (!screen_is_there()) {
        return false;
    }
    if (operation == TRAY_REMOVE) {
        delete tray;
        tray = nullptr;
        return true;
    }
    shown = record;
    if (operation == TRAY_ADD && tray == nullptr) {
        add(record);
    } else if (tray != nullptr) {
        tray->setToolTip(to_qt(record.tip));
    }
    return tray_is_there();
}
