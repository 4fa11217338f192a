#include "translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QPointer>
#include <QTranslator>

namespace bellwick {

namespace {

// Built in, so a build run in place reads the same texts as an installed one.
const QString ownTexts = QStringLiteral(":/Bellwick/i18n");

QTranslator *replace(QPointer<QTranslator> &installed)
{
    delete installed;
    installed = new QTranslator(QCoreApplication::instance());
    return installed;
}

} // namespace

void installTranslations(const QLocale &locale)
{
    static QPointer<QTranslator> own;
    static QPointer<QTranslator> qt;
    QTranslator *bellwick = replace(own);
    // English is the source language, but its plural forms ("1 minute", "2 minutes") come from a translation too.
    if (bellwick->load(locale, QStringLiteral("bellwick"), QStringLiteral("_"), ownTexts)
        || bellwick->load(QStringLiteral("bellwick_en"), ownTexts)) {
        QCoreApplication::installTranslator(bellwick);
    }
    QTranslator *qtTexts = replace(qt);
    if (qtTexts->load(locale, QStringLiteral("qt"), QStringLiteral("_"),
                      QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(qtTexts);
    }
}

} // namespace bellwick
