#pragma once

#include <QString>

namespace bellwick {

// How the user answered an alert, or how it ended by itself.
class AlertAction
{
public:
    enum class Kind { snooze, dismiss, joinMeeting };

    // Remind again after `minutes`; 0 asks for a reminder when the meeting starts.
    [[nodiscard]] static AlertAction snooze(int minutes) { return {Kind::snooze, minutes}; }
    [[nodiscard]] static AlertAction dismiss() { return {Kind::dismiss, 0}; }
    [[nodiscard]] static AlertAction joinMeeting() { return {Kind::joinMeeting, 0}; }

    [[nodiscard]] Kind kind() const { return m_kind; }
    // Only meaningful for a snooze.
    [[nodiscard]] int minutes() const { return m_minutes; }

    // "dismiss", "joinMeeting" or "snooze(minutes: 5)", as diagnostic lines print it.
    [[nodiscard]] QString text() const
    {
        switch (m_kind) {
        case Kind::snooze:
            return QStringLiteral("snooze(minutes: %1)").arg(m_minutes);
        case Kind::dismiss:
            return QStringLiteral("dismiss");
        case Kind::joinMeeting:
            return QStringLiteral("joinMeeting");
        }
        return {};
    }

    friend bool operator==(const AlertAction &, const AlertAction &) = default;

private:
    AlertAction(Kind kind, int minutes) : m_kind(kind), m_minutes(minutes) { }

    Kind m_kind;
    int m_minutes;
};

} // namespace bellwick
