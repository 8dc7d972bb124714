// The notification-area icon.
#include "platform/window_model/display.h"

#include "platform/qt/dialog_view.h"
#include "platform/qt/pictures.h"
#include "platform/qt/screen.h"
#include "platform/qt/text.h"
#include "platform/qt/tray_area.h"
#include "platform/shell.h"

#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>
#include <QTimer>

#include <algorithm>

namespace
{

// The area may come up a little after us, and a panel that fails is started again.
constexpr int PATIENCE = 1500; // milliseconds

bool status_window_is_hidden()
{
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::none_of(windows.begin(), windows.end(), [](const QWidget *window) {
        const auto *dialog = dynamic_cast<const DialogView *>(window);
        return dialog != nullptr && dialog->isVisible() && !dialog->is_modal();
    });
}

class Tray
{
  public:
    explicit Tray(const TrayIcon &record);

    void change(const TrayIcon &record);
    bool is_there() const;
    void press(int button) const;

  private:
    void area_changed();
    void make_icon();
    void make_menu();
    void reported(QSystemTrayIcon::ActivationReason reason) const;
    void stop_being_patient() const;

    TrayIcon record_;
    TrayAreaWatch watch_;
    TrayArea chosen_ = TrayArea::NONE; // the toolkit stays with its first choice
    QTimer patience_;
    QMenu menu_;
    std::unique_ptr<QSystemTrayIcon> icon_; // while there is an area for it
};

Tray::Tray(const TrayIcon &record) : record_(record), watch_([this] { area_changed(); })
{
    make_menu();
    patience_.setSingleShot(true);
    QObject::connect(&patience_, &QTimer::timeout, [this] { stop_being_patient(); });
    patience_.start(PATIENCE);
    area_changed();
}

void Tray::change(const TrayIcon &record)
{
    record_ = record;
    if (icon_ != nullptr) {
        icon_->setToolTip(to_qt(record.tip));
    }
}

bool Tray::is_there() const
{
    return icon_ != nullptr;
}

void Tray::press(int button) const
{
    post_message(record_.window, record_.callback, record_.identifier, button);
}

void Tray::make_menu()
{
    for (const MenuItemTemplate &item : record_.menu) {
        menu_.addAction(to_qt(item.text), [window = record_.window, id = item.id] {
            post_message(window, MESSAGE_COMMAND, id, 0);
        });
    }
}

void Tray::make_icon()
{
    icon_ = std::make_unique<QSystemTrayIcon>(icon(record_.icon));
    QObject::connect(
        icon_.get(), &QSystemTrayIcon::activated,
        [this](QSystemTrayIcon::ActivationReason reason) { reported(reason); });
    icon_->setToolTip(to_qt(record_.tip));
    if (chosen_ == TrayArea::NOTIFIER) {
        icon_->setContextMenu(&menu_);
    }
    icon_->show();
}

void Tray::area_changed()
{
    if (chosen_ == TrayArea::NONE) {
        chosen_ = watch_.preferred();
    }
    const bool there = watch_.shows(chosen_);
    if (there && icon_ == nullptr) {
        make_icon();
    } else if (!there && icon_ != nullptr) {
        icon_.reset();
        patience_.start(PATIENCE);
    }
}

void Tray::reported(QSystemTrayIcon::ActivationReason reason) const
{
    if (reason == QSystemTrayIcon::Trigger) {
        press(TRAY_LEFT_PRESSED);
    } else if (reason == QSystemTrayIcon::Context) {
        press(TRAY_RIGHT_PRESSED);
    }
}

// Nobody must be locked out: without an area, the left press comes from here.
void Tray::stop_being_patient() const
{
    if (icon_ == nullptr && status_window_is_hidden()) {
        press(TRAY_LEFT_PRESSED);
    }
}

std::unique_ptr<Tray> tray;

} // namespace

bool tray_is_there()
{
    return tray != nullptr && tray->is_there();
}

void tray_press_left()
{
    if (tray != nullptr) {
        tray->press(TRAY_LEFT_PRESSED);
    }
}

bool tray_icon(TrayOperation operation, const TrayIcon &record)
{
    if (!screen_is_there()) {
        return false;
    }
    if (operation == TRAY_REMOVE) {
        tray.reset();
        return true;
    }
    if (tray != nullptr) {
        tray->change(record);
    } else if (operation == TRAY_ADD) {
        tray = std::make_unique<Tray>(record);
    }
    return tray_is_there();
}
