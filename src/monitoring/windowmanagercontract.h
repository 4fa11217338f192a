#pragma once

#include <QAbstractNativeEventFilter>
#include <QDateTime>
#include <QObject>

#include <array>
#include <memory>
#include <vector>

class QWindow;
struct xcb_connection_t;

namespace bellwick {

class Clock;
class ClockTimer;

// What the alert asks of an X11 window manager, for as long as its window is shown: on every workspace, above every
// other window, out of the taskbar and pager, with nothing offered to minimise, move or close it; and when it is
// iconified, sent to one workspace or covered anyway, it puts itself back and takes the keyboard again.
class WindowManagerContract : public QObject, public QAbstractNativeEventFilter
{
    Q_OBJECT

public:
    // Null when the window is not an X11 one.
    [[nodiscard]] static std::unique_ptr<WindowManagerContract> create(QWindow &window, Clock &clock);
    ~WindowManagerContract() override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    enum Atom {
        wmState,
        netWmState,
        above,
        fullScreen,
        sticky,
        skipTaskbar,
        skipPager,
        hidden,
        netWmDesktop,
        motifHints,
        activeWindow,
        stacking,
        currentDesktop,
        supported,
        atomCount
    };

    WindowManagerContract(QWindow &window, Clock &clock, xcb_connection_t *connection);
    void declareBeforeMap() const;
    void scheduleRestore();
    void restore();
    void request(Atom type, std::array<quint32, 5> data) const;

    QWindow &m_window;
    Clock &m_clock;
    xcb_connection_t *m_connection;
    // X11 ids: the window, its screen's root window, and the atoms by name.
    quint32 m_id;
    quint32 m_root = 0;
    std::array<quint32, atomCount> m_atoms{};
    // The states restore() asks for again: those of the contract that the window manager supports.
    std::vector<quint32> m_keptStates;
    std::unique_ptr<ClockTimer> m_restore;
    QDateTime m_lastRestore;
};

} // namespace bellwick
