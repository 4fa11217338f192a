#include "alertwindow.h"

#include "windowmanagercontract.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QScreen>

namespace bellwick {

AlertWindow::AlertWindow(QQmlEngine *engine, QScreen *screen, Clock &clock) : QQuickView(engine, nullptr)
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
    m_contract = WindowManagerContract::create(*this, clock);
    QCoreApplication::instance()->installEventFilter(this);
}

AlertWindow::~AlertWindow() = default;

void AlertWindow::present()
{
    showFullScreen();
    raise();
    requestActivate();
}

bool AlertWindow::event(QEvent *event)
{
    // The window manager's close request (Alt+F4, the taskbar's Close) leaves the alert up; a quit closes it.
    if (event->type() == QEvent::Close && !m_quitting) {
        event->ignore();
        return true;
    }
    return QQuickView::event(event);
}

bool AlertWindow::eventFilter(QObject *watched, QEvent *event)
{
    // Qt asks every window, hidden ones too, to close before it quits; the close requests follow this event at once.
    if (event->type() == QEvent::Quit && watched == QCoreApplication::instance()) {
        m_quitting = true;
        QMetaObject::invokeMethod(
            this, [this] { m_quitting = false; }, Qt::QueuedConnection);
    }
    return QQuickView::eventFilter(watched, event);
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

} // namespace bellwick
