#pragma once

#include <QObject>
#include <QSocketNotifier>

namespace bellwick {

// Quits the application cleanly, through its event loop, when the session ends it (SIGTERM) or the user presses
// Ctrl+C in its terminal (SIGINT). One at a time.
class QuitOnSignals : public QObject
{
    Q_OBJECT

public:
    explicit QuitOnSignals(QObject *parent = nullptr);
    ~QuitOnSignals() override;

private:
    void onSignal();

    // A signal handler may only write to a pipe; the event loop reads the other end.
    int m_pipe[2] = {-1, -1};
    QSocketNotifier m_notifier;
};

} // namespace bellwick
