// The built program's commands start without the libraries of the widgets and the desktops,
// which come with the tracker's module only when tracking starts; a tracker module missing or
// broken is said with the path looked at; a command's log lines follow the debug setting read
// from the user's settings.

#include "VXHelpPages.h"
#include "VXProgramTestSupport.h"

#include <QDirIterator>
#include <QLibraryInfo>

#include <gtest/gtest.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

const QString kModuleFile = u"libwendle-tracker.so"_s;

class CommandProgram : public ProgramTest
{
protected:
    // A run with more variables in its environment.
    ProgramResult runWith(const QStringList &arguments, const QList<std::pair<QString, QString>> &variables)
    {
        const QProcessEnvironment saved = folders.environment;
        for (const auto &[name, value] : variables)
            folders.environment.insert(name, value);
        const ProgramResult result = folders.run(arguments, 10000);
        folders.environment = saved;
        return result;
    }

    // The libraries the dynamic loader loaded for a run (LD_DEBUG=libs, written to files of
    // their own so that standard error stays the program's).
    ProgramResult runListingLibraries(const QStringList &arguments, QByteArray *loaderLines)
    {
        const QString folder = folders.path(u"loader"_s);
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        const ProgramResult result
            = runWith(arguments, {{u"LD_DEBUG"_s, u"libs"_s}, {u"LD_DEBUG_OUTPUT"_s, folder + u"/libs"_s}});
        for (QDirIterator files(folder, QDir::Files); files.hasNext();) {
            QFile file(files.next());
            if (file.open(QIODevice::ReadOnly))
                *loaderLines += file.readAll();
        }
        return result;
    }
};

TEST_F(CommandProgram, CommandsLoadNoWidgetOrGuiLibrary)
{
    const QString scenario = QStringLiteral(WENDLE_TESTS_DIR "/app/scenarios/morning.json");
    const struct {
        QStringList arguments;
        int exitCode;
        bool loadsWidgets;
    } rows[] = {
        // The record the commands after it read.
        {{u"simulate"_s, scenario, u"-o"_s, folders.configurationFile()}, 0, false},
        {{u"summary"_s, u"--from"_s, u"30 days ago"_s}, 0, false},
        {{u"export"_s, u"-o"_s, folders.path(u"out.csv"_s)}, 0, false},
        {{u"status"_s}, 0, false},
        {{u"config"_s, u"show"_s}, 0, false},
        {{u"defaults"_s, u"read"_s, u"--all"_s}, 0, false},
        {{u"--version"_s}, 0, false},
        {{u"--help"_s}, 0, false},
        {{u"help"_s}, 0, false},
        {{u"sumary"_s}, 2, false},
        // The tracker's own options are read in its module: the libraries come with it.
        {{u"--help-page"_s, u"nosuch"_s}, 2, true},
    };
    ASSERT_TRUE(QDir().mkpath(QFileInfo(folders.configurationFile()).path()));
    for (const auto &row : rows) {
        SCOPED_TRACE(row.arguments.join(u' ').toStdString());
        QByteArray loaded;
        const ProgramResult result = runListingLibraries(row.arguments, &loaded);
        ASSERT_TRUE(result.finished);
        EXPECT_EQ(result.exitCode, row.exitCode) << result.err.constData();
        ASSERT_TRUE(loaded.contains("libQt6Core.so")) << "the loader wrote no list of libraries";
        for (const char *library : {"libQt6Widgets.so", "libQt6Gui.so"})
            EXPECT_EQ(loaded.contains(library), row.loadsWidgets) << library;
    }
    // The help names the help pages all the same.
    const ProgramResult help = folders.run({u"--help"_s});
    EXPECT_TRUE(QString::fromUtf8(help.out).simplified().contains(VXHelpPages::names().join(u", "_s)))
        << help.out.constData();
}

TEST_F(CommandProgram, AMissingOrBrokenTrackerModuleIsSaidWithWhereItWasLookedFor)
{
    const QString folder = folders.path(u"modules"_s);
    const QString module = folder + u'/' + kModuleFile;
    const QString someLibrary = QLibraryInfo::path(QLibraryInfo::LibrariesPath) + u"/libQt6Core.so.6"_s;
    const struct {
        const char *what;
        std::function<bool()> make;
        QString message;
    } rows[] = {
        {"no module", [] { return true; },
         u"wendle: cannot start tracking: its module is missing (looked for <%1>)\n"_s.arg(module)},
        {"not a library",
         [&] {
             QFile file(module);
             return file.open(QIODevice::WriteOnly) && file.write("not a library") > 0;
         },
         u"wendle: cannot start tracking: its module <%1> cannot be loaded: "_s.arg(module)},
        {"a library without the entry point", [&] { return QFile::link(someLibrary, module); },
         u"wendle_run_tracker"_s},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        QDir(folder).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(folder));
        ASSERT_TRUE(row.make());
        const ProgramResult result = runWith({}, {{u"WENDLE_TRACKER_MODULE_DIR"_s, folder}});
        ASSERT_TRUE(result.finished);
        EXPECT_EQ(result.exitCode, 1);
        const QString said = QString::fromUtf8(result.err);
        EXPECT_TRUE(said.contains(row.message)) << result.err.constData();
        EXPECT_EQ(said.count(u'\n'), 1) << result.err.constData();
    }
}

TEST_F(CommandProgram, TheDebugSettingSendsACommandsLogLinesToStandardError)
{
    const QString scenario = QStringLiteral(WENDLE_TESTS_DIR "/app/scenarios/morning.json");
    const QStringList simulate {u"simulate"_s, scenario, u"-o"_s, folders.path(u"out.plist"_s)};
    ASSERT_EQ(folders.run({u"defaults"_s, u"write"_s, u"VXDebugLog"_s, u"-bool"_s, u"YES"_s}).exitCode, 0);
    const ProgramResult debug = folders.run(simulate);
    EXPECT_EQ(debug.exitCode, 0);
    // The simulation's first line, read in the folders it points the settings at meanwhile.
    EXPECT_TRUE(debug.err.startsWith("watching input through scenario input")) << debug.err.constData();

    ASSERT_EQ(folders.run({u"defaults"_s, u"write"_s, u"VXDebugLog"_s, u"-bool"_s, u"NO"_s}).exitCode, 0);
    const ProgramResult quiet = folders.run(simulate);
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_TRUE(quiet.err.isEmpty()) << quiet.err.constData();
}

}   // namespace
