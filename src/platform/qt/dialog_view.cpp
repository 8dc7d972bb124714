#include "platform/qt/dialog_view.h"

#include "platform/qt/control_views.h"
#include "platform/qt/drawing.h"
#include "platform/qt/pictures.h"
#include "platform/qt/screen.h"
#include "platform/qt/text.h"
#include "platform/qt/window_manager.h"
#include "platform/qt/x11.h"
#include "platform/window_model/display.h"
#include "platform/window_model/placement.h"

#include <QApplication>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QPainter>
#include <QProxyStyle>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QWindow>

#include <cassert>

namespace
{

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

// The Alt key leads to the menu bar in every style.
class AltKeyStyle : public QProxyStyle
{
  public:
    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                  QStyleHintReturn *more) const override
    {
        return hint == SH_MenuBar_AltKeyNavigation
                   ? 1
                   : QProxyStyle::styleHint(hint, option, widget, more);
    }
};

} // namespace

void label_menu(const Menu &menu)
{
    Mnemonics mnemonics;
    const QList<QAction *> actions = static_cast<QMenu *>(menu.view)->actions();
    assert(actions.size() == static_cast<qsizetype>(menu.items.size()));
    for (qsizetype i = 0; i < actions.size(); i++) {
        actions[i]->setText(mnemonics.label(menu.items[static_cast<size_t>(i)].text));
    }
}

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
    frame_ = frame_to_be(*this);
    dialog.place.right += frame_size().width();
    dialog.place.bottom += frame_size().height();
}

void DialogView::make_menu_bar(int height)
{
    auto *bar = new QMenuBar(this);
    bar->setNativeMenuBar(false);
    bar->setGeometry(0, 0, width(), height);
    Mnemonics mnemonics;
    int position = 0;
    for (const MenuBarEntry &entry : dialog_.menu_bar) {
        const QString label = mnemonics.label(entry.text);
        if (entry.popup == nullptr) {
            bar->addAction(label, this,
                           [this, id = entry.id] { model_dialog_command(dialog_, id); });
        } else {
            make_popup(bar->addMenu(label), entry.popup.get(), position);
        }
        position++;
    }
    auto *style = new AltKeyStyle;
    style->setParent(bar);
    bar->setStyle(style);
    auto *f10 = new QShortcut(Qt::Key_F10, this);
    connect(f10, &QShortcut::activated, bar,
            [bar] { bar->setActiveAction(bar->actions().constFirst()); });
}

void DialogView::make_popup(QMenu *view, Menu *menu, int position)
{
    menu->view = view;
    for (const MenuItem &item : menu->items) {
        view->addAction(QString(), this,
                        [this, id = item.id] { model_dialog_command(dialog_, id); });
    }
    label_menu(*menu);
    connect(view, &QMenu::aboutToShow, this, [this, menu, position] {
        send_message(&dialog_, MESSAGE_INIT_MENU_POPUP, reinterpret_cast<Param>(menu),
                     position);
    });
}

bool DialogView::is_modal() const
{
    return dialog_.modal;
}

QSize DialogView::frame_size() const
{
    return {frame_.left() + frame_.right(), frame_.top() + frame_.bottom()};
}

void DialogView::move_to_record()
{
    std::vector<Rect> areas;
    for (const QScreen *screen : QApplication::screens()) {
        areas.push_back(rect_of(screen->availableGeometry()));
    }
    const Rect place = caption_is_in_reach(dialog_.place, areas)
                           ? dialog_.place
                           : place_inside(dialog_.place, display_free_area());
    wanted_ = QPoint(dialog_.place.left, dialog_.place.top);
    moved_to_ = QPoint(place.left, place.top);
    move(moved_to_);
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

// Where the user has put the window, or else where the program wanted it. Only an X
// server tells places.
void DialogView::place_to_record()
{
    if (!isVisible() || isMinimized() || x11_connection() == nullptr) {
        return;
    }
    QRect outer = frameGeometry();
    if (outer.topLeft() == moved_to_) {
        outer.moveTopLeft(wanted_);
    }
    dialog_.place = rect_of(outer);
    frame_ = frame_of(*this);
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
