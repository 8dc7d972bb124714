#include "platform/qt/list_view.h"

#include "platform/qt/text.h"
#include "platform/qt/thin_frame.h"
#include "platform/window_model/display.h"

#include <QAccessible>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionFocusRect>
#include <QTimerEvent>

#include <algorithm>
#include <cassert>

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
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);
    // A scroll bar's own menu runs a loop that knows nothing of our sockets.
    verticalScrollBar()->setContextMenuPolicy(Qt::PreventContextMenu);
    horizontalScrollBar()->setContextMenuPolicy(Qt::PreventContextMenu);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this,
            [this](int value) { scrolled_to(value); });
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this,
            [this] { viewport()->update(); });
}

// --- Entries

void ListView::entry_appended()
{
    known_count_++;
    assert(known_count_ == count());
    refresh_soon();
}

void ListView::entries_removed()
{
    assert(known_count_ >= count());
    first_ += static_cast<uint64_t>(known_count_ - count());
    known_count_ = count();
    has_current_ = has_current_ && current_ >= first_;
    anchor_ = std::max(anchor_, first_);
    top_ = std::max(top_, first_);
    refresh_soon();
}

int ListView::count() const
{
    return list_count(&list_);
}

int ListView::index_of(uint64_t number) const
{
    const uint64_t index = number - first_;
    return number >= first_ && index < static_cast<uint64_t>(count())
               ? static_cast<int>(index)
               : -1;
}

uint64_t ListView::number_of(int index) const
{
    return first_ + static_cast<uint64_t>(index);
}

QString ListView::text_of(int index) const
{
    const char *entry = list_entry(&list_, index);
    return entry != nullptr ? to_qt_shown(entry) : QString();
}

int ListView::entry_height() const
{
    return fontMetrics().height() + LINE_SPACE;
}

QRect ListView::rect_of_entry(int index) const
{
    const QRect place(0, (index - top()) * entry_height(), viewport()->width(),
                      entry_height());
    return {viewport()->mapToGlobal(place.topLeft()), place.size()};
}

int ListView::index_at(QPoint place) const
{
    const int index = top() + place.y() / entry_height();
    return place.y() >= 0 && index < count() ? index : -1;
}

// --- Scrolling

int ListView::whole_lines() const
{
    return std::max(1, viewport()->height() / entry_height());
}

int ListView::highest_top() const
{
    return std::max(0, count() - whole_lines());
}

int ListView::top() const
{
    return at_end_ ? highest_top() : std::clamp(index_of(top_), 0, highest_top());
}

void ListView::scrolled_to(int top)
{
    if (!refreshing_) {
        at_end_ = top >= highest_top();
        top_ = number_of(top);
        refresh_soon();
    }
}

void ListView::bring_into_view(int index)
{
    const int last = top() + whole_lines() - 1;
    if (index < top()) {
        scrolled_to(index);
    } else if (index > last) {
        scrolled_to(index - whole_lines() + 1);
    }
}

void ListView::refresh_soon()
{
    if (!refresh_timer_.isActive()) {
        refresh_timer_.start(REFRESH_PERIOD, this);
    }
}

void ListView::refresh()
{
    refresh_timer_.stop();
    list_.top_entry = top();

    QScrollBar &vertical = *verticalScrollBar();
    refreshing_ = true; // the user scrolls nothing here
    vertical.setRange(0, highest_top());
    vertical.setPageStep(whole_lines());
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

void ListView::resizeEvent(QResizeEvent *)
{
    refresh();
}

// --- Selection

int ListView::current() const
{
    return has_current_ ? index_of(current_) : -1;
}

bool ListView::is_selected(int index) const
{
    const auto [first, last] = std::minmax(anchor_, current_);
    const uint64_t number = number_of(index);
    return has_current_ && number >= first && number <= last;
}

void ListView::select(int index, bool extend)
{
    if (index < 0 || index >= count()) {
        return;
    }
    current_ = number_of(index);
    if (!extend || !has_current_) {
        anchor_ = current_;
    }
    has_current_ = true;
    bring_into_view(index);
    viewport()->update();
    if (QAccessible::isActive()) {
        QAccessibleEvent focused(this, QAccessible::Focus);
        focused.setChild(index);
        QAccessible::updateAccessibility(&focused);
    }
}

void ListView::select_all()
{
    if (count() > 0) {
        select(count() - 1, false);
        anchor_ = first_;
    }
}

void ListView::copy() const
{
    QStringList lines;
    for (int i = 0; i < count(); i++) {
        if (is_selected(i)) {
            lines.append(text_of(i));
        }
    }
    if (!lines.isEmpty()) {
        QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
    }
}

// The entry that a key leads to; -1 for other keys.
int ListView::index_after_key(int key) const
{
    const int last = count() - 1;
    const int from = current() >= 0 ? current() : top();
    const int step = current() >= 0 ? 1 : 0; // the first press selects where one is
    const int page = std::max(1, whole_lines() - 1);
    switch (key) {
    case Qt::Key_Up:
        return std::max(0, from - step);
    case Qt::Key_Down:
        return std::min(last, from + step);
    case Qt::Key_PageUp:
        return std::max(0, from - page);
    case Qt::Key_PageDown:
        return std::min(last, from + page);
    case Qt::Key_Home:
        return 0;
    case Qt::Key_End:
        return last;
    default:
        return -1;
    }
}

void ListView::keyPressEvent(QKeyEvent *event)
{
    const int index = index_after_key(event->key());
    if (event->matches(QKeySequence::Copy)) {
        copy();
    } else if (event->matches(QKeySequence::SelectAll)) {
        select_all();
    } else if (index >= 0) {
        select(index, event->modifiers().testFlag(Qt::ShiftModifier));
    } else {
        QAbstractScrollArea::keyPressEvent(event);
    }
}

void ListView::mousePressEvent(QMouseEvent *event)
{
    const int index = index_at(event->position().toPoint());
    if (event->button() == Qt::LeftButton) {
        select(index, event->modifiers().testFlag(Qt::ShiftModifier));
    } else if (event->button() == Qt::RightButton && !is_selected(index)) {
        select(index, false);
    }
}

// Beyond the upper and lower edge the selection goes on, entry by entry.
void ListView::mouseMoveEvent(QMouseEvent *event)
{
    if (!event->buttons().testFlag(Qt::LeftButton)) {
        return;
    }
    const int y = event->position().toPoint().y();
    const int index = y < 0 ? top() - 1
                      : y >= viewport()->height()
                          ? std::min(count() - 1, top() + whole_lines())
                          : index_at({0, y});
    select(index, true);
}

void ListView::contextMenuEvent(QContextMenuEvent *event)
{
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    QAction *action = menu->addAction(QStringLiteral("&Copy"), this, [this] { copy(); });
    action->setShortcut(QKeySequence::Copy);
    action->setEnabled(current() >= 0);
    const bool by_mouse = event->reason() == QContextMenuEvent::Mouse;
    // Not run in a loop of its own, which would know nothing of our sockets.
    menu->popup(by_mouse ? event->globalPos()
                         : rect_of_entry(std::max(top(), current())).bottomLeft());
}

void ListView::focusInEvent(QFocusEvent *)
{
    viewport()->update();
}

void ListView::focusOutEvent(QFocusEvent *)
{
    viewport()->update();
}

// --- Painting

void ListView::paint_entry(QPainter &painter, int index, const QRect &place) const
{
    QColor colour = palette().color(QPalette::Text);
    if (is_selected(index)) {
        const QPalette::ColorGroup group =
            hasFocus() ? QPalette::Active : QPalette::Inactive;
        painter.fillRect(place, palette().brush(group, QPalette::Highlight));
        colour = palette().color(group, QPalette::HighlightedText);
    }
    painter.setPen(colour);
    const int x = MARGIN - horizontalScrollBar()->value();
    painter.drawText(QPoint(x, place.top() + fontMetrics().ascent() + LINE_SPACE / 2),
                     text_of(index));
    if (hasFocus() && index == current()) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        option.rect = place;
        option.backgroundColor = palette().color(QPalette::Highlight);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
}

void ListView::paintEvent(QPaintEvent *)
{
    QPainter painter(viewport());
    const int height = entry_height();
    QRect place(0, 0, viewport()->width(), height);
    for (int i = top(); i < count() && place.top() < viewport()->height(); i++) {
        paint_entry(painter, i, place);
        place.translate(0, height);
    }
    if (hasFocus() && current() < 0) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        option.rect = QRect(0, 0, viewport()->width(), height);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
}
