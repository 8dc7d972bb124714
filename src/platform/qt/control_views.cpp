#include "platform/qt/control_views.h"

#include "platform/qt/drawing.h"
#include "platform/qt/list_accessible.h"
#include "platform/qt/pictures.h"
#include "platform/qt/text.h"
#include "platform/qt/thin_frame.h"
#include "platform/window_model/display.h"

#include <QAccessible>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QStyleOptionFocusRect>

namespace
{

bool has_style(const Window &control, unsigned style)
{
    return (control.control->style & style) != 0;
}

QRect place_of(const Window &control)
{
    const Rect &place = control.place;
    return {place.left, place.top, place.right - place.left, place.bottom - place.top};
}

// A button that the dialog's procedure draws.
class OwnerDrawnButton : public QPushButton
{
  public:
    OwnerDrawnButton(Window &control, QWidget *parent)
        : QPushButton(parent), control_(control)
    {
    }

  protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        DeviceContext context{this, &painter};
        const DrawItem item{control_.id, &context, {0, 0, width(), height()}, isDown()};
        send_message(control_.owner, MESSAGE_DRAW_ITEM, control_.id,
                     reinterpret_cast<Param>(&item));
    }

  private:
    Window &control_;
};

class PictureView : public QWidget
{
  public:
    PictureView(const Window &control, QWidget *parent)
        : QWidget(parent), control_(control)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
    }

  protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const QPixmap pixmap = picture(control_.control->picture, devicePixelRatioF());
        QRectF place(QPointF(), pixmap.deviceIndependentSize());
        place.moveLeft((width() - place.width()) / 2);
        if (has_style(control_, STYLE_CENTRED)) {
            place.moveTop((height() - place.height()) / 2);
        }
        painter.drawPixmap(place.topLeft().toPoint(), pixmap);
        if (has_style(control_, STYLE_SUNKEN)) {
            draw_sunken_edge(painter);
        }
    }

  private:
    void draw_sunken_edge(QPainter &painter)
    {
        constexpr QColor shade(0, 0, 0, 90);
        constexpr QColor light(255, 255, 255, 90);
        painter.fillRect(0, 0, width(), 1, shade);
        painter.fillRect(0, 1, 1, height() - 1, shade);
        painter.fillRect(width() - 1, 1, 1, height() - 1, light);
        painter.fillRect(1, height() - 1, width() - 2, 1, light);
    }

    const Window &control_;
};

QWidget *make_button(Window &control, QWidget *parent)
{
    QPushButton *button = has_style(control, STYLE_OWNER_DRAWN)
                              ? new OwnerDrawnButton(control, parent)
                              : new QPushButton(parent);
    QObject::connect(button, &QPushButton::clicked, parent,
                     [&control] { model_dialog_command(*control.owner, control.id); });
    return button;
}

QWidget *make_label(const Window &control, QWidget *parent)
{
    auto *label = new QLabel(parent);
    const bool sunken = has_style(control, STYLE_SUNKEN);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(control.place.bottom - control.place.top >=
                       2 * label->fontMetrics().height());
    label->setAlignment(
        (has_style(control, STYLE_CENTRED) ? Qt::AlignHCenter : Qt::AlignLeft) |
        (sunken || has_style(control, STYLE_CENTRED_VERTICALLY) ? Qt::AlignVCenter
                                                                : Qt::AlignTop));
    if (sunken) {
        const QRect place = place_of(control);
        auto *frame = new QFrame(label);
        frame->resize(place.size());
        set_thin_frame(*frame);
    }
    return label;
}

// A paragraph grows downwards where the font's lines stand further apart than its
// characters are high, from which the dialog unit is taken.
void make_room(QLabel &label, const QRect &place)
{
    if (label.wordWrap()) {
        label.resize(place.width(),
                     std::max(place.height(), label.heightForWidth(place.width())));
    }
}

QWidget *make_edit(const Window &control, QWidget *parent)
{
    auto *edit = new QLineEdit(parent);
    edit->setReadOnly(has_style(control, STYLE_READ_ONLY));
    edit->setFrame(has_style(control, STYLE_BORDER));
    edit->setAlignment(Qt::AlignHCenter);
    if (has_style(control, STYLE_DIGITS_ONLY) && !edit->isReadOnly()) {
        edit->setInputMethodHints(Qt::ImhDigitsOnly);
    }
    return edit;
}

QWidget *make_widget(Window &control, QWidget *parent)
{
    switch (control.control->kind) {
    case CONTROL_BUTTON:
        return make_button(control, parent);
    case CONTROL_TEXT:
        return make_label(control, parent);
    case CONTROL_EDIT:
        return make_edit(control, parent);
    case CONTROL_LIST:
        return new ListView(control, parent);
    case CONTROL_PICTURE:
        return new PictureView(control, parent);
    }
    return nullptr;
}

// What a screen reader is told of the views that the toolkit does not know.
QAccessibleInterface *accessible_view(const QString &, QObject *object)
{
    if (auto *list = dynamic_cast<ListView *>(object)) {
        return new AccessibleList(*list);
    }
    if (auto *picture = dynamic_cast<PictureView *>(object)) {
        return new QAccessibleWidget(picture, QAccessible::Graphic);
    }
    return nullptr;
}

} // namespace

void control_views_start()
{
    QAccessible::installFactory(accessible_view);
}

QWidget *make_control_view(Window &control, QWidget *parent)
{
    QWidget *widget = make_widget(control, parent);
    control.view = widget;
    widget->setGeometry(place_of(control));
    widget->setVisible(control.shown);
    update_control_text(control);
    return widget;
}

void update_control_text(Window &control)
{
    auto *widget = static_cast<QWidget *>(control.view);
    const QString text = to_qt(control.text);
    if (auto *label = dynamic_cast<QLabel *>(widget)) {
        label->setText(text);
        make_room(*label, place_of(control));
    } else if (auto *edit = dynamic_cast<QLineEdit *>(widget)) {
        edit->setText(text);
        edit->setCursorPosition(0);
    } else if (auto *button = dynamic_cast<QPushButton *>(widget)) {
        button->setText(Mnemonics().label(control.text));
    } else {
        widget->setAccessibleName(text);
    }
}
