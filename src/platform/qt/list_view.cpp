#include "platform/qt/list_view.h"

#include "platform/qt/text.h"
#include "platform/qt/thin_frame.h"
#include "platform/window_model/display.h"

#include <QPainter>
#include <QScrollBar>
#include <QTimerEvent>

#include <algorithm>

namespace
{

constexpr int REFRESH_PERIOD = 33; // milliseconds
constexpr int LINE_SPACE = 2;      // pixels between entries
constexpr int MARGIN = 4;          // pixels left and right of an entry

} // namespace

ListView::ListView(Window &list, QWidget *parent)
    : QAbstractScrollArea(parent), list_(list)
{
    set_thin_frame(*this);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    setAccessibleName(QStringLiteral("Activity log"));
    // A scroll bar's own menu runs a loop that knows nothing of our sockets.
    verticalScrollBar()->setContextMenuPolicy(Qt::PreventContextMenu);
    horizontalScrollBar()->setContextMenuPolicy(Qt::PreventContextMenu);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this,
            [this](int value) { scrolled_to(value); });
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this,
            [this] { viewport()->update(); });
}

void ListView::refresh_soon()
{
    if (!refresh_timer_.isActive()) {
        refresh_timer_.start(REFRESH_PERIOD, this);
    }
}

int ListView::entry_height() const
{
    return fontMetrics().height() + LINE_SPACE;
}

int ListView::highest_top() const
{
    const int whole_lines = std::max(1, viewport()->height() / entry_height());
    return std::max(0, list_count(&list_) - whole_lines);
}

void ListView::scrolled_to(int top)
{
    if (!refreshing_) {
        list_.top_entry = top;
        viewport()->update();
    }
}

void ListView::refresh()
{
    refresh_timer_.stop();
    const int highest = highest_top();
    list_.top_entry = std::clamp(list_.top_entry, 0, highest);

    QScrollBar &vertical = *verticalScrollBar();
    refreshing_ = true; // the record is right already
    vertical.setRange(0, highest);
    vertical.setPageStep(viewport()->height() / entry_height());
    vertical.setValue(list_.top_entry);
    refreshing_ = false;

    const int width = viewport()->width();
    horizontalScrollBar()->setRange(0, std::max(0, list_.extent + 2 * MARGIN - width));
    horizontalScrollBar()->setPageStep(width);
    horizontalScrollBar()->setSingleStep(fontMetrics().averageCharWidth());
    viewport()->update();
}

void ListView::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == refresh_timer_.timerId()) {
        refresh();
    } else {
        QAbstractScrollArea::timerEvent(event);
    }
}

void ListView::showEvent(QShowEvent *)
{
    refresh();
}

// A horizontal bar that appears must not cover the newest entry.
void ListView::resizeEvent(QResizeEvent *)
{
    if (list_.top_entry == verticalScrollBar()->maximum()) {
        list_.top_entry = highest_top();
    }
    refresh();
}

void ListView::paintEvent(QPaintEvent *)
{
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::Text));
    const int height = entry_height();
    const int x = MARGIN - horizontalScrollBar()->value();
    const int ascent = fontMetrics().ascent() + LINE_SPACE / 2;
    for (int i = 0, y = 0; y < viewport()->height(); i++, y += height) {
        const char *entry = list_entry(&list_, list_.top_entry + i);
        if (entry == nullptr) {
            break;
        }
        painter.drawText(QPoint(x, y + ascent), to_qt(entry));
    }
}
