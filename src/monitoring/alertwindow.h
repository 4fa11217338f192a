#pragma once

#include <QQuickView>

namespace bellwick {

// The alert's frameless, topmost window over a whole screen; the usual ways of closing a window do nothing to it.
class AlertWindow : public QQuickView
{
    Q_OBJECT

public:
    AlertWindow(QQmlEngine *engine, QScreen *screen);

    // Shows the window over its screen and asks for the keyboard.
    void present();

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void takeFocusBack();
};

} // namespace bellwick
