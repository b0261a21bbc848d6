// The tracker module's entry point (VXTrackerModule.h): the tracker's start, as `wendle` without
// a command asks for it.

#include "VXApplicationIcon.h"
#include "VXCommandLine.h"
#include "VXHelpPages.h"
#include "VXSignalWatcher.h"
#include "VXTrackerModule.h"
#include "VXTrackerProgram.h"
#include "VXTranslations.h"

#include <QApplication>
#include <QCommandLineParser>

#include <memory>

extern "C" Q_DECL_EXPORT int wendle_run_tracker(int argc, char *argv[])
{
    // A quit asked for while the program starts is taken up once it runs.
    VXSignalWatcher::installHandlers();

    const bool withDisplay = qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    std::unique_ptr<QCoreApplication> application
        = withDisplay ? std::make_unique<QApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    VXCommandLine::nameApplication();
    if (withDisplay) {
        // Closing the last window leaves Wendle tracking; only Quit (or the session) ends it.
        QApplication::setQuitOnLastWindowClosed(false);
        // The desktop entry that launchers and taskbars (and Wayland's app id) know it by.
        QGuiApplication::setDesktopFileName(QStringLiteral("wendle"));
        // Every window without an icon of its own shows this one, or the live report drawn
        // into it when the taskbar icon shows the report.
        QApplication::setWindowIcon(applicationIcon());
    }
    VXTranslations::install();

    QCommandLineParser parser;
    const VXCommandLine::ProgramOptions options = VXCommandLine::describeProgram(parser);
    const QStringList &pages = VXHelpPages::names();
    parser.process(VXCommandLine::withHelpPage(QCoreApplication::arguments(), pages.constFirst()));
    const QString helpPage = parser.value(options.helpPage);
    if (parser.isSet(options.helpPage) && !pages.contains(helpPage))
        return VXCommandLine::refuse(
            QCoreApplication::translate("VXCommandLine", "there is no help page '%1' (the pages: %2)")
                .arg(helpPage, pages.join(QStringLiteral(", "))));
    for (const QString &file : parser.positionalArguments()) {
        if (const QString problem = VXCommandLine::fileArgumentProblem(file); !problem.isEmpty())
            return VXCommandLine::refuse(problem);
    }

    VXTrackerProgram program(withDisplay);
    program.setOpensLiveReport(parser.isSet(options.report));
    program.setHelpPage(helpPage);
    return program.run(parser.positionalArguments());
}
