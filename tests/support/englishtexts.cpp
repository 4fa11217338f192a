#include "app/translations.h"

#include <QCoreApplication>

namespace {

// Tests read the texts a user of an English locale reads, plural forms included, whatever the machine's language.
void installEnglish()
{
    bellwick::installTranslations(QLocale(QLocale::English, QLocale::UnitedStates));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installEnglish)
