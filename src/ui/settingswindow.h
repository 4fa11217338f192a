#pragma once

#include <QQuickView>

namespace bellwick {

class SettingsPresenter;

// The settings window: one of fixed size, raised when asked for again, closed by Escape and Ctrl+W; Enter presses
// the focused button as Space does.
class SettingsWindow : public QQuickView
{
    Q_OBJECT

public:
    SettingsWindow(QQmlEngine *engine, SettingsPresenter *presenter);

    // Shows the window in front with its first tab, or brings the open one to the front as it is.
    void open();

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

} // namespace bellwick
