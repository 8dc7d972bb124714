// A dialog on the screen: menu bar, controls, and the user's handling of its window.
#pragma once

#include <QMargins>
#include <QWidget>

class QMenu;
struct Window;
struct Menu;
struct MenuBarEntry;

// Gives the items of a menu bar's popup their labels.
void label_menu(const Menu &menu);

class DialogView : public QWidget
{
  public:
    explicit DialogView(Window &dialog);

    bool is_modal() const;

    // In its normal state, at the record's place; or hidden.
    void show_in_place();
    void hide_away();

    void move_to_record();
    void to_front();

    // The frame and caption bar that the window manager adds, as far as they are known.
    QSize frame_size() const;

  protected:
    bool event(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;

  private:
    void make_menu_bar(int height);
    void make_popup(QMenu *view, Menu *menu, int position);
    void place_to_record();

    Window &dialog_;
    QWidget *client_;
    QMargins frame_;
    QPoint wanted_;   // where the program wanted it last
    QPoint moved_to_; // and where it was put, in the mouse's reach
};
