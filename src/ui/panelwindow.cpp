#include "panelwindow.h"

#include "menubarpresenter.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>

#include <algorithm>

namespace bellwick {

namespace {

// Between the panel and its anchor.
constexpr int gap = 4;

} // namespace

QPoint panelPosition(const QRect &anchor, const QSize &panel, const QRect &available)
{
    const bool upperHalf = anchor.center().y() < available.center().y();
    const int y = upperHalf ? anchor.bottom() + 1 + gap : anchor.top() - gap - panel.height();
    const int x = anchor.center().x() - panel.width() / 2;
    return {std::clamp(x, available.left(), std::max(available.left(), available.right() + 1 - panel.width())),
            std::clamp(y, available.top(), std::max(available.top(), available.bottom() + 1 - panel.height()))};
}

PanelWindow::PanelWindow(QQmlEngine *engine, MenuBarPresenter *presenter)
    : QQuickView(engine, nullptr), m_presenter(presenter)
{
    setTitle(QStringLiteral("Bellwick"));
    setResizeMode(QQuickView::SizeViewToRootObject);
    setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue<QObject *>(presenter)}});
    setSource(QUrl(QStringLiteral("qrc:/Bellwick/MenuBarView.qml")));
    setMode(Mode::popup);
    // A popup is not always given the focus, so turning to another window is noticed through it as well. The window
    // manager may take the focus for a moment while it settles and hand it straight back; only a lasting loss counts.
    m_focusGone.setSingleShot(true);
    m_focusGone.setInterval(std::chrono::milliseconds(250));
    connect(&m_focusGone, &QTimer::timeout, this, [this] {
        if (m_mode == Mode::popup && !isActive() && m_grabbing) {
            hide();
        }
    });
    connect(this, &QWindow::activeChanged, this, [this] {
        if (isActive()) {
            m_focusGone.stop();
        } else if (m_mode == Mode::popup && m_grabbing) {
            m_focusGone.start();
        }
    });
}

void PanelWindow::popUp(const QRect &anchor)
{
    setMode(Mode::popup);
    QScreen *screen = QGuiApplication::screenAt(anchor.center());
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen) {
        setScreen(screen);
        setPosition(panelPosition(anchor, size(), screen->availableGeometry()));
    }
    show();
    raise();
    requestActivate();
}

void PanelWindow::showAsWindow()
{
    if (isVisible() && m_mode == Mode::window) {
        raise();
        requestActivate();
        return;
    }
    setMode(Mode::window);
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const QRect available = screen->availableGeometry();
        setPosition(available.center() - QPoint(width() / 2, height() / 2));
    }
    show();
    raise();
    requestActivate();
}

void PanelWindow::setMode(Mode mode)
{
    const Qt::WindowFlags flags = mode == Mode::popup ? Qt::Popup | Qt::FramelessWindowHint : Qt::Window;
    if (mode == m_mode && this->flags() == flags) {
        return;
    }
    // The window system learns the kind of window when it is created, so a window of the other kind is made anew.
    hide();
    destroy();
    m_mode = mode;
    setFlags(flags);
}

void PanelWindow::exposeEvent(QExposeEvent *event)
{
    QQuickView::exposeEvent(event);
    // The X server grants a grab only to a window on screen.
    if (m_mode == Mode::popup && isExposed() && !m_grabbing) {
        grabInput(true);
    }
}

void PanelWindow::hideEvent(QHideEvent *event)
{
    grabInput(false);
    QQuickView::hideEvent(event);
}

void PanelWindow::grabInput(bool grab)
{
    m_grabbing = grab && setMouseGrabEnabled(true) && setKeyboardGrabEnabled(true);
    if (!m_grabbing) {
        setMouseGrabEnabled(false);
        setKeyboardGrabEnabled(false);
    }
}

void PanelWindow::mousePressEvent(QMouseEvent *event)
{
    // While grabbing, a press anywhere on the screen comes here.
    if (m_mode == Mode::popup && !QRect(QPoint(), size()).contains(event->position().toPoint())) {
        event->accept();
        hide();
        return;
    }
    QQuickView::mousePressEvent(event);
}

void PanelWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Cancel)) {
        hide();
    } else if (event->modifiers() == Qt::ControlModifier && event->key() == Qt::Key_Comma) {
        m_presenter->showSettings();
    } else if (event->modifiers() == Qt::ControlModifier && event->key() == Qt::Key_Q) {
        m_presenter->quit();
    } else {
        QQuickView::keyPressEvent(event);
        return;
    }
    event->accept();
}

} // namespace bellwick
