#pragma once

#include <QQuickView>

#include <memory>

namespace bellwick {

class Clock;
class WindowManagerContract;

// The alert's frameless, topmost window over a whole screen; the usual ways of closing a window do nothing to it, but
// it never holds up the application's quit.
class AlertWindow : public QQuickView
{
    Q_OBJECT

public:
    AlertWindow(QQmlEngine *engine, QScreen *screen, Clock &clock);
    ~AlertWindow() override;

    // Shows the window over its screen and asks for the keyboard.
    void present();

protected:
    bool event(QEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    // Null where the window system is not X11.
    std::unique_ptr<WindowManagerContract> m_contract;
    bool m_quitting = false;
};

} // namespace bellwick
