// A list box for screen readers: a list with a row for each entry.
#pragma once

#include "platform/qt/list_view.h"

#include <QAccessibleWidget>

#include <map>

class AccessibleList : public QAccessibleWidget
{
  public:
    explicit AccessibleList(ListView &view);
    ~AccessibleList() override;

    int childCount() const override;
    QAccessibleInterface *child(int index) const override;
    QAccessibleInterface *childAt(int x, int y) const override;
    QAccessibleInterface *focusChild() const override;
    int indexOfChild(const QAccessibleInterface *child) const override;

  private:
    ListView &view_;
    // Rows that were asked for, by the number of their entry, until it goes.
    mutable std::map<uint64_t, QAccessible::Id> rows_;
};
