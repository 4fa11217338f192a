#include "alertwindow.h"

#include <QKeyEvent>
#include <QScreen>

namespace bellwick {

AlertWindow::AlertWindow(QQmlEngine *engine, QScreen *screen) : QQuickView(engine, nullptr)
{
    setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    setTitle(tr("Upcoming Meeting"));
    setScreen(screen);
    setGeometry(screen->geometry());
    setResizeMode(QQuickView::SizeRootObjectToView);
    // Where a compositor runs, what lies behind shows through the backdrop's own opacity.
    QSurfaceFormat surface = format();
    surface.setAlphaBufferSize(8);
    setFormat(surface);
    setColor(Qt::transparent);
    connect(this, &QWindow::activeChanged, this, &AlertWindow::takeFocusBack);
}

void AlertWindow::present()
{
    showFullScreen();
    raise();
    requestActivate();
}

bool AlertWindow::event(QEvent *event)
{
    // The window manager's close request (Alt+F4, the taskbar's Close) leaves the alert up.
    if (event->type() == QEvent::Close) {
        event->ignore();
        return true;
    }
    return QQuickView::event(event);
}

void AlertWindow::keyPressEvent(QKeyEvent *event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    const bool closeShortcut = (modifiers & Qt::ControlModifier) && !(modifiers & Qt::ShiftModifier)
                               && (event->key() == Qt::Key_W || event->key() == Qt::Key_Q);
    if (event->key() == Qt::Key_Escape || closeShortcut) {
        event->accept();
        return;
    }
    QQuickView::keyPressEvent(event);
}

void AlertWindow::takeFocusBack()
{
    if (isVisible() && !isActive()) {
        // Queued: activating from inside the deactivation would fight the window manager's own focus change.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (isVisible() && !isActive()) {
                    raise();
                    requestActivate();
                }
            },
            Qt::QueuedConnection);
    }
}

} // namespace bellwick
