#include "VXTranslations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <memory>

namespace {

// Compiled into the program, so that no installation can separate the texts from it.
const QString kFolder = QStringLiteral(":/i18n");
const QString kName = QStringLiteral("wendle");

// Installs NAME_<language>.qm from the folder for the first of the locale's languages that has
// one; the application owns it from then on.
bool installTranslation(const QLocale &locale, const QString &name, const QString &folder)
{
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (!translator->load(locale, name, QStringLiteral("_"), folder))
        return false;
    QCoreApplication::installTranslator(translator.release());
    return true;
}

}   // namespace

bool VXTranslations::install()
{
    const QLocale locale;
    installTranslation(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    return installTranslation(locale, kName, kFolder);
}
