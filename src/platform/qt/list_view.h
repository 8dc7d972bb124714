// A list box: a view over the record's ring of entries.
//
// Appending costs a mark only; the view is brought up to date and repainted at most
// every 33 ms, however fast entries come.
#pragma once

#include <QAbstractScrollArea>
#include <QBasicTimer>

struct Window;

class ListView : public QAbstractScrollArea
{
  public:
    ListView(Window &list, QWidget *parent);

    // The record has changed.
    void refresh_soon();

    int entry_height() const;

  protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void showEvent(QShowEvent *event) override;

  private:
    void refresh();
    int highest_top() const;
    void scrolled_to(int top);

    Window &list_;
    QBasicTimer refresh_timer_;
    bool refreshing_ = false;
};
