#include "platform/qt/drawing.h"

#include "platform/qt/pictures.h"
#include "platform/qt/text.h"
#include "platform/window_model/display.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionButton>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace
{

// The advance of every ASCII character that can be seen, because each log line is
// measured. Kerning is left out: it would only make a text narrower.
class CharacterWidths
{
  public:
    explicit CharacterWidths(const QFont &font) : metrics_(font)
    {
        for (size_t i = ' '; i < widths_.size(); i++) {
            widths_[i] = metrics_.horizontalAdvance(QChar(static_cast<ushort>(i)));
        }
    }

    int width(const char *text) const
    {
        double sum = 0;
        for (const char *at = text; *at != '\0'; at++) {
            const auto character = static_cast<unsigned char>(*at);
            if (character < ' ' || character >= widths_.size()) {
                return static_cast<int>(
                    std::ceil(metrics_.horizontalAdvance(to_qt_shown(text))));
            }
            sum += widths_[character];
        }
        return static_cast<int>(std::ceil(sum));
    }

  private:
    QFontMetricsF metrics_;
    std::array<double, 127> widths_{};
};

QColor qt_colour(Colour colour)
{
    return {colour.red, colour.green, colour.blue};
}

} // namespace

DeviceContext *window_context(Window *window)
{
    auto *widget = static_cast<QWidget *>(window->view);
    return widget != nullptr ? new DeviceContext{widget, nullptr} : nullptr;
}

void context_release(DeviceContext *context)
{
    delete context;
}

int context_text_width(DeviceContext *, const char *text)
{
    static const CharacterWidths widths{QApplication::font()};
    return widths.width(text);
}

void draw_line(DeviceContext *context, const int (*points)[2], int count, Colour colour)
{
    if (context->painter == nullptr) {
        return;
    }
    QPainter &painter = *context->painter;
    for (int i = 1; i < count; i++) {
        const QPoint from(points[i - 1][0], points[i - 1][1]);
        const QPoint to(points[i][0], points[i][1]);
        if (from.x() == to.x() || from.y() == to.y()) {
            // Whole pixels at every scale, which a pen would straddle.
            const QPoint first(std::min(from.x(), to.x()), std::min(from.y(), to.y()));
            const QPoint last(std::max(from.x(), to.x()), std::max(from.y(), to.y()));
            painter.fillRect(QRect(first, last), qt_colour(colour));
        } else {
            painter.setPen(qt_colour(colour));
            painter.drawLine(from, to);
        }
    }
}

void draw_text(DeviceContext *context, int x, int y, const char *text, int length)
{
    if (context->painter == nullptr) {
        return;
    }
    QPainter &painter = *context->painter;
    painter.setPen(context->widget->palette().color(QPalette::ButtonText));
    painter.drawText(QPointF(x, y + painter.fontMetrics().ascent()),
                     to_qt({text, static_cast<size_t>(length)}));
}

void draw_push_button(DeviceContext *context, const Rect &rect, bool pressed)
{
    if (context->painter == nullptr) {
        return;
    }
    const QWidget *widget = context->widget;
    QStyleOptionButton option;
    option.initFrom(widget); // hovered, focused, enabled
    option.rect =
        QRect(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
    option.state |= pressed ? QStyle::State_Sunken : QStyle::State_Raised;
    widget->style()->drawControl(QStyle::CE_PushButtonBevel, &option, context->painter,
                                 widget);
}

int draw_picture(DeviceContext *context, int x, int y, int id)
{
    const QPixmap pixmap = picture(id, context->widget->devicePixelRatioF());
    if (pixmap.isNull()) {
        return 0;
    }
    if (context->painter != nullptr) {
        context->painter->drawPixmap(x, y, pixmap);
    }
    return static_cast<int>(std::lround(pixmap.deviceIndependentSize().width()));
}

Colour window_background()
{
    const QColor colour = QApplication::palette().color(QPalette::Window);
    return {static_cast<unsigned char>(colour.red()),
            static_cast<unsigned char>(colour.green()),
            static_cast<unsigned char>(colour.blue())};
}
