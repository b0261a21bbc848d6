#include "VXTranslations.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <memory>

namespace {

// Compiled into the program, so that no installation can separate the texts from it.
const QString kFolder = QStringLiteral(":/i18n");
const QString kName = QStringLiteral("wendle");

QString &loadedLanguage()
{
    static QString language;
    return language;
}

// Installs NAME_<language>.qm from the folder for the first of the locale's languages that has
// one, and answers its language; the application owns it from then on.
QString installTranslation(const QLocale &locale, const QString &name, const QString &folder)
{
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (!translator->load(locale, name, QStringLiteral("_"), folder))
        return {};
    // A file without its language named in it is known by its name (wendle_de.qm).
    QString language = translator->language();
    if (language.isEmpty())
        language = QFileInfo(translator->filePath()).completeBaseName().mid(name.size() + 1);
    QCoreApplication::installTranslator(translator.release());
    return language;
}

}   // namespace

bool VXTranslations::install()
{
    const QLocale locale;
    installTranslation(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    loadedLanguage() = installTranslation(locale, kName, kFolder);
    return !loadedLanguage().isEmpty();
}

QString VXTranslations::language()
{
    return loadedLanguage();
}
