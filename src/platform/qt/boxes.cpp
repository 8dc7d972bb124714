// Message boxes and the popup menu: the model's loop runs while one is open.
#include "platform/window_model/display.h"

#include "platform/qt/always_on_top.h"
#include "platform/qt/screen.h"
#include "platform/qt/text.h"

#include <QCursor>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>

namespace
{

struct OpenBox {
    QPointer<QMessageBox> box;
    int button = BOX_NOT_SHOWN;
};

struct OpenPopup {
    bool closed = false;
    int chosen = 0;
};

// The box goes with its owner.
bool is_answered(void *context)
{
    const auto *open = static_cast<const OpenBox *>(context);
    return open->box.isNull() || !open->box->isVisible();
}

bool is_closed(void *context)
{
    return static_cast<const OpenPopup *>(context)->closed;
}

// The model looks whether to go on only after a message.
void wake_model()
{
    post_message(nullptr, MESSAGE_EMPTY, 0, 0);
}

QMessageBox *make_box(Window *owner, const char *text, const char *caption,
                      unsigned style)
{
    auto *parent = owner != nullptr ? static_cast<QWidget *>(owner->view) : nullptr;
    auto *box = new QMessageBox(parent);
    box->setTextFormat(Qt::PlainText);
    box->setText(to_qt(text));
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

} // namespace

int message_box(Window *owner, const char *text, const char *caption, unsigned style)
{
    if (!screen_is_there()) {
        return BOX_NOT_SHOWN;
    }
    OpenBox open;
    open.box = make_box(owner, text, caption, style);
    QObject::connect(open.box, &QDialog::finished, wake_model);
    QObject::connect(open.box, &QObject::destroyed, wake_model);
    open.box->show();
    if ((style & (BOX_TOPMOST | BOX_SYSTEM_MODAL)) != 0) {
        keep_above_others(*open.box, true);
    }
    open.box->raise();
    open.box->activateWindow();
    if (model_run_until(is_answered, &open) && !open.box.isNull()) {
        open.button = pressed_button(*open.box);
    }
    if (screen_is_there()) {
        delete open.box;
    }
    return open.button;
}

int display_track_popup(Menu &menu)
{
    if (!screen_is_there()) {
        return 0;
    }
    OpenPopup open;
    QMenu view;
    for (const MenuItem &item : menu.items) {
        view.addAction(to_qt(item.text), [&open, id = item.id] { open.chosen = id; });
    }
    QObject::connect(&view, &QMenu::aboutToHide, [&open] {
        open.closed = true;
        wake_model();
    });
    view.popup(QCursor::pos());
    model_run_until(is_closed, &open);
    return open.chosen;
}
