#include "VXTrackerModule.h"

#include "VXTranslations.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <dlfcn.h>

namespace {

// Where the module is looked for.
QString modulePath()
{
    const QString file = QStringLiteral(WENDLE_TRACKER_MODULE_FILE);
    const QString folder = qEnvironmentVariable("WENDLE_TRACKER_MODULE_DIR");
    if (!folder.isEmpty())
        return QDir(folder).filePath(file);
    // The program's own file, links resolved, as the loader's $ORIGIN.
    const QString program = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    return QDir::cleanPath(QFileInfo(program).absolutePath() + u'/' + QStringLiteral(WENDLE_TRACKER_MODULE_FOLDER)
                           + u'/' + file);
}

}   // namespace

int VXTrackerModule::run(int argc, char *argv[])
{
    const QString module = modulePath();
    // `detail`: what the loader said, for the second placeholder of the texts that have one.
    const auto fail = [&](const char *problem, const char *detail) {
        // Said in the user's language, which takes an application to load.
        QCoreApplication messages(argc, argv);
        VXTranslations::install();
        const QString text = QCoreApplication::translate("VXTrackerModule", problem);
        QTextStream(stderr) << "wendle: "
                            << (detail ? text.arg(module, QString::fromLocal8Bit(detail)) : text.arg(module)) << '\n';
        return 1;
    };
    if (!QFileInfo::exists(module))
        return fail(
            QT_TRANSLATE_NOOP("VXTrackerModule", "cannot start tracking: its module is missing (looked for <%1>)"),
            nullptr);
    // Bound at once, so that a module built against other libraries fails here with the symbol it
    // lacks rather than later in the middle of tracking; global, as the libraries it brings were
    // when the program linked them itself (Qt's plugins may look their symbols up).
    void *handle = dlopen(QFile::encodeName(module).constData(), RTLD_NOW | RTLD_GLOBAL);
    const auto entry
        = handle ? reinterpret_cast<decltype(&wendle_run_tracker)>(dlsym(handle, "wendle_run_tracker")) : nullptr;
    if (!entry) {
        const char *error = dlerror();
        return fail(QT_TRANSLATE_NOOP("VXTrackerModule", "cannot start tracking: its module <%1> cannot be loaded: %2"),
                    error ? error : "?");
    }
    // The module stays loaded until the process ends: its static objects outlive the tracker.
    return entry(argc, argv);
}
