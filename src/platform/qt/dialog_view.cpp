#include "platform/qt/dialog_view.h"

#include "platform/qt/always_on_top.h"
#include "platform/qt/control_views.h"
#include "platform/qt/drawing.h"
#include "platform/qt/pictures.h"
#include "platform/qt/screen.h"
#include "platform/qt/text.h"
#include "platform/window_model/display.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QWindow>

#include <algorithm>

namespace
{

// So much of a window's upper left must be on a screen for the user to get hold of it.
constexpr int HANDLE_WIDTH = 96;
constexpr int HANDLE_HEIGHT = 32;

constexpr Qt::WindowFlags FRAME = Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                  Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint;

// The dialog's inner area, which its procedure may draw on.
class ClientView : public QWidget
{
  public:
    ClientView(Window &dialog, QWidget *parent) : QWidget(parent), dialog_(dialog) {}

  protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        DeviceContext context{this, &painter};
        send_message(&dialog_, MESSAGE_PAINT, reinterpret_cast<Param>(&context), 0);
    }

  private:
    Window &dialog_;
};

} // namespace

DialogView::DialogView(Window &dialog)
    : QWidget(nullptr,
              FRAME | (dialog.modal ? Qt::Dialog
                                    : Qt::Window | Qt::WindowMinimizeButtonHint)),
      dialog_(dialog), client_(new ClientView(dialog, this))
{
    const int width = dialog.place.right - dialog.place.left;
    const int menu_height = menu_bar_height(dialog);
    const int height = dialog.place.bottom - dialog.place.top;
    setFixedSize(width, height);
    client_->setGeometry(0, menu_height, width, height - menu_height);
    if (menu_height > 0) {
        make_menu_bar(menu_height);
    }
    for (const auto &control : dialog.controls) {
        make_control_view(*control, client_);
    }
    setWindowTitle(to_qt(dialog.text));
    if (dialog.icon != 0) {
        setWindowIcon(icon(dialog.icon));
    }
}

void DialogView::make_menu_bar(int height)
{
    auto *bar = new QMenuBar(this);
    bar->setNativeMenuBar(false);
    bar->setGeometry(0, 0, width(), height);
    for (size_t i = 0; i < dialog_.menu_bar.size(); i++) {
        make_popup(bar, dialog_.menu_bar[i], static_cast<int>(i));
    }
}

void DialogView::make_popup(QMenuBar *bar, MenuBarEntry &entry, int position)
{
    if (entry.popup == nullptr) {
        bar->addAction(to_qt(entry.text), this,
                       [this, id = entry.id] { model_dialog_command(dialog_, id); });
        return;
    }
    QMenu *view = bar->addMenu(to_qt(entry.text));
    Menu *menu = entry.popup.get();
    menu->view = view;
    for (const MenuItem &item : menu->items) {
        QAction *action = view->addAction(to_qt(item.text), this, [this, id = item.id] {
            model_dialog_command(dialog_, id);
        });
        action->setData(item.id);
    }
    connect(view, &QMenu::aboutToShow, this, [this, menu, position] {
        send_message(&dialog_, MESSAGE_INIT_MENU_POPUP, reinterpret_cast<Param>(menu),
                     position);
    });
}

// The place asked for, moved only as far as needed to keep the caption within reach, as
// when a larger screen has gone.
QPoint DialogView::reachable(QPoint place) const
{
    for (const QScreen *screen : QApplication::screens()) {
        const QRect room =
            screen->availableGeometry().adjusted(0, 0, -HANDLE_WIDTH, -HANDLE_HEIGHT);
        if (room.contains(place) ||
            room.contains(place + QPoint(width() - HANDLE_WIDTH, 0))) {
            return place;
        }
    }
    const QRect room = QApplication::primaryScreen()->availableGeometry();
    return {std::clamp(place.x(), room.left(),
                       std::max(room.left(), room.right() - frameGeometry().width())),
            std::clamp(place.y(), room.top(),
                       std::max(room.top(), room.bottom() - frameGeometry().height()))};
}

void DialogView::move_to_record()
{
    move(reachable({dialog_.place.left, dialog_.place.top}));
}

void DialogView::show_in_place()
{
    if (!isVisible()) {
        move_to_record();
    }
    // Only now: taken back while the window is hidden, it would map the window.
    if (isMinimized()) {
        setWindowState(windowState() & ~Qt::WindowMinimized);
    }
    show();
    keep_above_others(*this, dialog_.topmost);
}

void DialogView::hide_away()
{
    // Without an icon in the notification area the window manager's list of windows is
    // the only way back.
    if (tray_is_there() || dialog_.modal) {
        hide();
    } else if (!isMinimized()) {
        showMinimized();
    }
}

void DialogView::to_front()
{
    raise();
    activateWindow();
}

// The frame belongs to the window manager, and is known only when it has told it.
void DialogView::place_to_record()
{
    if (!isVisible() || isMinimized()) {
        return;
    }
    const QRect frame = frameGeometry();
    dialog_.place = {frame.left(), frame.top(), frame.left() + frame.width(),
                     frame.top() + frame.height()};
}

bool DialogView::event(QEvent *event)
{
    const bool result = QWidget::event(event);
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Paint:
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        place_to_record();
        break;
    default:
        break;
    }
    return result;
}

void DialogView::closeEvent(QCloseEvent *event)
{
    event->ignore();
    post_message(&dialog_, MESSAGE_CLOSE, 0, 0);
}

// Only modal dialogs take Enter and Escape for commands.
void DialogView::keyPressEvent(QKeyEvent *event)
{
    if (!dialog_.modal) {
        QWidget::keyPressEvent(event);
        return;
    }
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        model_dialog_command(dialog_, COMMAND_OK);
        break;
    case Qt::Key_Escape:
        model_dialog_command(dialog_, COMMAND_CANCEL);
        break;
    default:
        QWidget::keyPressEvent(event);
        break;
    }
}

void DialogView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() != QEvent::WindowStateChange) {
        return;
    }
    if (isMinimized() && dialog_.shown) {
        post_message(&dialog_, MESSAGE_SYSTEM_COMMAND, SYSTEM_MINIMIZE, 0);
    } else if (!isMinimized() && !dialog_.shown && isVisible()) {
        tray_press_left();
    }
}
