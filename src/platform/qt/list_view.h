// A list box: a view over the record's ring of entries.
//
// Appending costs a mark only; the view is brought up to date and repainted at most
// every 33 ms, however fast entries come. Entries are numbered from the first one ever
// appended, so that selection and scrolling stay with their entries when old ones go.
#pragma once

#include <QAbstractScrollArea>
#include <QBasicTimer>

#include <cstdint>

struct Window;

class ListView : public QAbstractScrollArea
{
  public:
    ListView(Window &list, QWidget *parent);

    // The record has changed.
    void entry_appended();
    void entries_removed(); // the oldest one, or all of them
    void refresh_soon();

    int entry_height() const;

    // What a screen reader asks for. Indices count from the oldest entry there is; -1 is
    // none of them.
    int count() const;
    int index_of(uint64_t number) const;
    uint64_t number_of(int index) const;
    QString text_of(int index) const;
    QRect rect_of_entry(int index) const; // on the screen
    int index_at(QPoint place) const;     // on the viewport
    int current() const;                  // the entry with the focus mark
    bool is_selected(int index) const;

  protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void timerEvent(QTimerEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

  private:
    void refresh();
    void scrolled_to(int top);
    int whole_lines() const;
    int highest_top() const;
    int top() const;

    int index_after_key(int key) const;
    void select(int index, bool extend);
    void select_all();
    void bring_into_view(int index);
    void copy() const;

    void paint_entry(QPainter &painter, int index, const QRect &place) const;

    Window &list_;
    QBasicTimer refresh_timer_;
    bool refreshing_ = false;

    uint64_t first_ = 0; // the number of the oldest entry
    int known_count_ = 0;

    // The newest entry is kept in view as long as the user does not scroll away from it.
    bool at_end_ = true;
    uint64_t top_ = 0; // else the first entry in view

    // The selected entries are those from the anchor to the current one.
    bool has_current_ = false;
    uint64_t anchor_ = 0, current_ = 0;
};
