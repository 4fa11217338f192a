#pragma once

#include <QLocale>

namespace bellwick {

// Installs Bellwick's texts for the first of the locale's languages that has them, English plural forms where none
// has, and Qt's own texts for its dialogs and key names; replaces the ones installed before. Needs the application
// object, and comes before any window so every text is read in the chosen language.
void installTranslations(const QLocale &locale);

} // namespace bellwick
