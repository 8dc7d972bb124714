#include "platform/qt/list_accessible.h"

namespace
{

class AccessibleRow : public QAccessibleInterface
{
  public:
    AccessibleRow(ListView &view, uint64_t number) : view_(view), number_(number) {}

    int index() const
    {
        return view_.index_of(number_);
    }
    bool isValid() const override
    {
        return index() >= 0;
    }
    QObject *object() const override
    {
        return nullptr;
    }
    QAccessibleInterface *parent() const override
    {
        return QAccessible::queryAccessibleInterface(&view_);
    }
    QAccessibleInterface *child(int) const override
    {
        return nullptr;
    }
    QAccessibleInterface *childAt(int, int) const override
    {
        return nullptr;
    }
    int childCount() const override
    {
        return 0;
    }
    int indexOfChild(const QAccessibleInterface *) const override
    {
        return -1;
    }
    QString text(QAccessible::Text which) const override
    {
        return which == QAccessible::Name ? view_.text_of(index()) : QString();
    }
    void setText(QAccessible::Text, const QString &) override {}
    QRect rect() const override
    {
        return view_.rect_of_entry(index());
    }
    QAccessible::Role role() const override
    {
        return QAccessible::ListItem;
    }
    QAccessible::State state() const override;

  private:
    ListView &view_;
    const uint64_t number_;
};

QAccessible::State AccessibleRow::state() const
{
    QAccessible::State state;
    const int row = index();
    state.invalid = row < 0;
    state.selectable = true;
    state.extSelectable = true;
    state.focusable = true;
    state.selected = row >= 0 && view_.is_selected(row);
    state.focused = row >= 0 && view_.hasFocus() && view_.current() == row;
    state.offscreen = !view_.viewport()->rect().intersects(
        QRect(view_.viewport()->mapFromGlobal(rect().topLeft()), rect().size()));
    return state;
}

} // namespace

AccessibleList::AccessibleList(ListView &view)
    : QAccessibleWidget(&view, QAccessible::List), view_(view)
{
}

AccessibleList::~AccessibleList()
{
    for (const auto &[number, id] : rows_) {
        QAccessible::deleteAccessibleInterface(id);
    }
}

int AccessibleList::childCount() const
{
    return view_.count();
}

QAccessibleInterface *AccessibleList::child(int index) const
{
    if (index < 0 || index >= view_.count()) {
        return nullptr;
    }
    while (!rows_.empty() && rows_.begin()->first < view_.number_of(0)) {
        QAccessible::deleteAccessibleInterface(rows_.begin()->second);
        rows_.erase(rows_.begin());
    }
    const uint64_t number = view_.number_of(index);
    const auto [row, is_new] = rows_.try_emplace(number);
    if (is_new) {
        auto *made = new AccessibleRow(view_, number);
        // The toolkit keeps it. NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
        row->second = QAccessible::registerAccessibleInterface(made);
    }
    return QAccessible::accessibleInterface(row->second);
}

QAccessibleInterface *AccessibleList::childAt(int x, int y) const
{
    const QPoint place = view_.viewport()->mapFromGlobal(QPoint(x, y));
    return view_.viewport()->rect().contains(place) ? child(view_.index_at(place))
                                                    : nullptr;
}

QAccessibleInterface *AccessibleList::focusChild() const
{
    return view_.hasFocus() ? child(view_.current()) : nullptr;
}

int AccessibleList::indexOfChild(const QAccessibleInterface *child) const
{
    const auto *row = dynamic_cast<const AccessibleRow *>(child);
    return row != nullptr ? row->index() : -1;
}
