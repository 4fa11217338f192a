#pragma once

#include <QObject>

#include <optional>

namespace bellwick {

class AlertPresenter;

// The alert as a desktop notification, for when its full-screen view cannot be shown: the title, the start time
// and a "Join" action when the alert would offer one. Its answers reach the presenter as the buttons' would.
class AlertNotification : public QObject
{
    Q_OBJECT

public:
    // Sends it at once; a session without a notification service gets a diagnostic line.
    explicit AlertNotification(AlertPresenter &presenter, QObject *parent = nullptr);
    // Takes it off the screen.
    ~AlertNotification() override;

private Q_SLOTS:
    void actionInvoked(uint id, const QString &action);
    void closed(uint id, uint reason);

private:
    AlertPresenter &m_presenter;
    std::optional<uint> m_id;
};

} // namespace bellwick
