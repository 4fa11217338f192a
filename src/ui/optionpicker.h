#pragma once

#include <QObject>
#include <QVariantList>

#include <functional>

namespace bellwick {

// One choice of a settings picker: its label and the value it stores; the extras go to the view as they are.
struct PickerOption {
    QString label;
    QVariant value;
    QVariantMap extras = {};
};

// A settings menu over one stored value. A stored value that no option carries is offered as one more option,
// described as it is, so the menu never rewrites it by itself: it changes only when the user picks.
class OptionPicker : public QObject
{
    Q_OBJECT
    // One map per option, with "label" and its extras.
    Q_PROPERTY(QVariantList options READ options NOTIFY optionsChanged)
    Q_PROPERTY(int currentIndex READ currentIndex NOTIFY currentIndexChanged)

public:
    using Read = std::function<QVariant()>;
    using Write = std::function<void(const QVariant &)>;
    using Describe = std::function<QString(const QVariant &)>;

    OptionPicker(QList<PickerOption> options, Read read, Write write, Describe describe, QObject *parent = nullptr);

    [[nodiscard]] QVariantList options() const { return m_shown; }
    [[nodiscard]] QStringList labels() const;
    [[nodiscard]] int currentIndex() const { return m_currentIndex; }

    // Stores the value of the option at `index`; an index out of range stores nothing.
    Q_INVOKABLE void pick(int index);

    void setOptions(QList<PickerOption> options);
    // Reads the stored value again.
    void update();

Q_SIGNALS:
    void optionsChanged();
    void currentIndexChanged();

private:
    QList<PickerOption> m_options;
    Read m_read;
    Write m_write;
    Describe m_describe;
    // The options with the stored value's own at the end when none carries it.
    QList<PickerOption> m_offered;
    QVariantList m_shown;
    int m_currentIndex = -1;
};

} // namespace bellwick
