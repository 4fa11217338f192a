#pragma once

#include <QQuickView>
#include <QTimer>

namespace bellwick {

class MenuBarPresenter;

// Where the panel opens: beside the anchor (the tray icon, or the pointer), below it in the upper half of the screen
// and above it in the lower half, kept inside the screen's free area.
[[nodiscard]] QPoint panelPosition(const QRect &anchor, const QSize &panel, const QRect &available);

// The tray panel's window: a popup beside the tray icon that closes as soon as the user turns elsewhere, or an
// ordinary window where the desktop has no tray.
class PanelWindow : public QQuickView
{
    Q_OBJECT

public:
    PanelWindow(QQmlEngine *engine, MenuBarPresenter *presenter);

    void popUp(const QRect &anchor);
    void showAsWindow();

protected:
    void exposeEvent(QExposeEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    enum class Mode { popup, window };

    void setMode(Mode mode);
    void grabInput(bool grab);

    MenuBarPresenter *m_presenter;
    Mode m_mode = Mode::popup;
    bool m_grabbing = false;
    QTimer m_focusGone;
};

} // namespace bellwick
