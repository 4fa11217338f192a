#include "settingswindow.h"

#include "settingspresenter.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QQuickItem>
#include <QScreen>

namespace bellwick {

namespace {

constexpr QSize windowSize(550, 480);

} // namespace

SettingsWindow::SettingsWindow(QQmlEngine *engine, SettingsPresenter *presenter) : QQuickView(engine, nullptr)
{
    setTitle(tr("Bellwick Settings"));
    setMinimumSize(windowSize);
    setMaximumSize(windowSize);
    resize(windowSize);
    setResizeMode(QQuickView::SizeRootObjectToView);
    setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue<QObject *>(presenter)}});
    setSource(QUrl(QStringLiteral("qrc:/Bellwick/SettingsView.qml")));
}

void SettingsWindow::open()
{
    if (!isVisible()) {
        if (QQuickItem *view = rootObject()) {
            QMetaObject::invokeMethod(view, "showFirstTab");
        }
        if (const QScreen *screen = QGuiApplication::primaryScreen()) {
            setPosition(screen->availableGeometry().center() - QPoint(width() / 2, height() / 2));
        }
        show();
    }
    raise();
    requestActivate();
}

void SettingsWindow::keyPressEvent(QKeyEvent *event)
{
    // An open menu takes its own Escape first.
    QQuickView::keyPressEvent(event);
    if (event->isAccepted()) {
        return;
    }
    if (event->matches(QKeySequence::Cancel) || event->matches(QKeySequence::Close)) {
        event->accept();
        close();
        return;
    }
    // Qt Quick's buttons, switches and boxes answer Space only; desktop users press Enter on them too.
    QQuickItem *focused = activeFocusItem();
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && focused && focused->inherits("QQuickAbstractButton") && !event->isAutoRepeat()) {
        event->accept();
        for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent space(type, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "));
            QCoreApplication::sendEvent(focused, &space);
        }
    }
}

} // namespace bellwick
