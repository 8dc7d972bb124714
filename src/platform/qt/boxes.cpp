// Message boxes and the popup menu: the model's loop runs while one is open.
#include "platform/window_model/display.h"

#include "platform/qt/screen.h"
#include "platform/qt/text.h"
#include "platform/qt/window_manager.h"
#include "platform/qt/x11.h"

#include <QApplication>
#include <QCursor>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QWindow>

#include <cassert>
#include <string>
#include <vector>

namespace
{

struct OpenBox {
    const std::string text;
    QPointer<QMessageBox> box;
};

std::vector<OpenBox *> open_boxes; // the one opened last at the end

struct OpenPopup {
    bool closed = false;
    int chosen = 0;
};

// The box goes with its owner, and with a close request while the program starts.
bool is_answered(void *context)
{
    const auto *open = static_cast<const OpenBox *>(context);
    return open->box.isNull() || !open->box->isVisible() || model_close_waits();
}

// The cursor does not tell to wait while an answer is waited for.
class ArrowCursor
{
  public:
    ArrowCursor()
    {
        QApplication::setOverrideCursor(Qt::ArrowCursor);
    }
    ~ArrowCursor()
    {
        if (screen_is_there()) {
            QApplication::restoreOverrideCursor();
        }
    }
    ArrowCursor(const ArrowCursor &) = delete;
    ArrowCursor &operator=(const ArrowCursor &) = delete;
};

bool is_closed(void *context)
{
    return static_cast<const OpenPopup *>(context)->closed;
}

// The model looks whether to go on only after a message.
void wake_model()
{
    post_message(nullptr, MESSAGE_EMPTY, 0, 0);
}

// The text breaks at its line ends only; the toolkit would wrap it at 500 pixels.
void keep_lines(QMessageBox &box)
{
    if (auto *label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_label"))) {
        const QSize size = label->fontMetrics().size(0, box.text());
        label->setMinimumWidth(size.width() + 2 * label->margin());
    }
}

QMessageBox *make_box(Window *owner, const char *text, const char *caption,
                      unsigned style)
{
    auto *parent = owner != nullptr ? static_cast<QWidget *>(owner->view) : nullptr;
    auto *box = new QMessageBox(parent);
    box->setTextFormat(Qt::PlainText);
    box->setText(to_qt(text));
    keep_lines(*box);
    box->setWindowTitle(caption != nullptr ? to_qt(caption) : QStringLiteral("Error"));
    box->setIcon((style & BOX_QUESTION) != 0      ? QMessageBox::Question
                 : (style & BOX_EXCLAMATION) != 0 ? QMessageBox::Warning
                                                  : QMessageBox::NoIcon);
    if ((style & BOX_YES_NO) != 0) {
        box->setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box->setDefaultButton((style & BOX_DEFAULT_NO) != 0 ? QMessageBox::No
                                                            : QMessageBox::Yes);
        box->setEscapeButton(QMessageBox::No);
    }
    box->setWindowModality((style & BOX_SYSTEM_MODAL) != 0 ? Qt::ApplicationModal
                           : parent != nullptr             ? Qt::WindowModal
                                                           : Qt::NonModal);
    return box;
}

int pressed_button(const QMessageBox &box)
{
    switch (box.result()) {
    case QMessageBox::Yes:
        return BOX_YES;
    case QMessageBox::No:
        return BOX_NO;
    default:
        return BOX_OK;
    }
}

void to_front(QWidget &box)
{
    box.raise();
    box.activateWindow();
}

// A Wayland compositor takes a menu without a parent for a window of its own: one that
// keeps its size, and goes when another one is used. Beside a window that has the focus
// it is a menu, which leaves the focus there.
void make_window_of(QMenu &menu)
{
    menu.setWindowTitle(QStringLiteral("Quillon SMTP server"));
    QObject::connect(qGuiApp, &QGuiApplication::focusWindowChanged, &menu,
                     [&menu, had_focus = QGuiApplication::focusWindow() !=
                                         nullptr](const QWindow *focused) mutable {
                         const bool has_focus = focused == menu.windowHandle();
                         if (had_focus && !has_focus) {
                             menu.close();
                         }
                         had_focus = has_focus;
                     });
}

} // namespace

int message_box(Window *owner, const char *text, const char *caption, unsigned style)
{
    if (!screen_is_there()) {
        return BOX_NOT_SHOWN;
    }
    const ArrowCursor arrow;
    OpenBox open{text, make_box(owner, text, caption, style)};
    QObject::connect(open.box, &QDialog::finished, wake_model);
    QObject::connect(open.box, &QObject::destroyed, wake_model);
    open.box->show();
    if ((style & (BOX_TOPMOST | BOX_SYSTEM_MODAL)) != 0) {
        keep_above_others(*open.box, true);
    }
    to_front(*open.box);

    open_boxes.push_back(&open);
    const bool goes_on = model_run_until(is_answered, &open);
    assert(open_boxes.back() == &open); // those opened later have ended
    open_boxes.pop_back();

    const bool answered = goes_on && !open.box.isNull() && !open.box->isVisible();
    const int button = answered ? pressed_button(*open.box) : BOX_NOT_SHOWN;
    if (screen_is_there()) {
        delete open.box;
    }
    return button;
}

bool message_box_to_front(const char *text)
{
    for (const OpenBox *open : open_boxes) {
        if (open->text == text && !open->box.isNull() && screen_is_there()) {
            to_front(*open->box);
            return true;
        }
    }
    return false;
}

int display_track_popup(Menu &menu)
{
    if (!screen_is_there()) {
        return 0;
    }
    OpenPopup open;
    QMenu view;
    if (x11_connection() == nullptr) {
        make_window_of(view);
    }
    Mnemonics mnemonics;
    for (const MenuItem &item : menu.items) {
        view.addAction(mnemonics.label(item.text),
                       [&open, id = item.id] { open.chosen = id; });
    }
    QObject::connect(&view, &QMenu::aboutToHide, [&open] {
        open.closed = true;
        wake_model();
    });
    view.setFixedSize(view.sizeHint());
    view.popup(QCursor::pos());
    model_run_until(is_closed, &open);
    return open.chosen;
}
