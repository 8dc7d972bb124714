// Which notification area the desktop has at the moment.
#pragma once

#include <QBasicTimer>
#include <QObject>

#include <functional>

enum class TrayArea {
    NONE,
    XEMBED,   // the icon is a window of ours: it gets the mouse, and menus are ours, too
    NOTIFIER, // StatusNotifier: the desktop draws icon and menu
};

// Areas come and go with their panel. Nothing here waits for an answer, because a panel
// that hangs must not hold the server up.
class TrayAreaWatch : public QObject
{
    Q_OBJECT

  public:
    explicit TrayAreaWatch(std::function<void()> changed);

    // The kind that the toolkit would take now; none while that is not known.
    TrayArea preferred() const;

    // Whether an icon in an area of this kind would be seen.
    bool shows(TrayArea area) const;

  protected:
    void timerEvent(QTimerEvent *event) override;

  private:
    Q_SLOT void ask_for_notifier();
    void watch_notifier();
    void set_notifier(bool watcher, bool host);

    std::function<void()> changed_;
    QBasicTimer xembed_timer_;
    bool xembed_ = false;
    // A StatusNotifier area is a watcher, which keeps the list of icons, and a host,
    // which draws them.
    bool notifier_is_known_ = false;
    bool notifier_watcher_ = false;
    bool notifier_host_ = false;
};
