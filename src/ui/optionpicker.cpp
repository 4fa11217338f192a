#include "optionpicker.h"

#include <algorithm>

namespace bellwick {

OptionPicker::OptionPicker(QList<PickerOption> options, Read read, Write write, Describe describe, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
    , m_read(std::move(read))
    , m_write(std::move(write))
    , m_describe(std::move(describe))
{
    update();
}

QStringList OptionPicker::labels() const
{
    QStringList labels;
    for (const PickerOption &option : m_offered) {
        labels << option.label;
    }
    return labels;
}

void OptionPicker::pick(int index)
{
    if (index >= 0 && index < m_offered.size()) {
        m_write(m_offered.at(index).value);
    }
}

void OptionPicker::setOptions(QList<PickerOption> options)
{
    m_options = std::move(options);
    update();
}

void OptionPicker::update()
{
    const QVariant stored = m_read();
    QList<PickerOption> offered = m_options;
    const auto carried = std::find_if(offered.cbegin(), offered.cend(),
                                      [&](const PickerOption &option) { return option.value == stored; });
    int current = static_cast<int>(carried - offered.cbegin());
    if (carried == offered.cend()) {
        offered.append({m_describe(stored), stored});
    }
    QVariantList shown;
    for (const PickerOption &option : std::as_const(offered)) {
        QVariantMap entry = option.extras;
        entry.insert(QStringLiteral("label"), option.label);
        shown.append(entry);
    }
    m_offered = std::move(offered);
    const bool optionsChange = shown != m_shown;
    if (optionsChange) {
        m_shown = std::move(shown);
        Q_EMIT optionsChanged();
    }
    // A menu given new options may have moved its selection, so it is told the index again.
    if (optionsChange || current != m_currentIndex) {
        m_currentIndex = current;
        Q_EMIT currentIndexChanged();
    }
}

} // namespace bellwick
