#include "VXSimulateCommand.h"

#include "VXPropertyListSerialization.h"
#include "VXScenario.h"
#include "VXScenarioRunner.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>

const QString VXSimulateCommand::kName = QStringLiteral("simulate");

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXSimulateCommand", text);
}

QString helpPointer()
{
    return tr("Run 'wendle simulate --help' for its usage and the scenario format.\n");
}

}   // namespace

QString VXSimulateCommand::usage()
{
    return tr("Usage: wendle simulate SCENARIO.json -o OUT.plist\n"
              "\n"
              "Runs the scripted day in SCENARIO.json through Wendle's tracking engine in virtual\n"
              "time (a working day takes seconds) and writes the record that Wendle would have saved\n"
              "on quit to OUT.plist, as a binary property list. Your own record and settings are not\n"
              "touched.\n"
              "\n"
              "The scenario is a JSON object:\n"
              "\n"
              "  {\"start\": 1767254400, \"end\": 3600,\n"
              "   \"defaults\": {\"Update Interval\": 1, \"Hibernation Interval\": 300},\n"
              "   \"configuration\": {...},\n"
              "   \"desktop\": [{\"at\": 0, \"front\": \"/apps/editor.desktop\",\n"
              "                \"applications\": [{\"name\": \"Editor\", \"identifier\": \"editor\",\n"
              "                                  \"path\": \"/apps/editor.desktop\", \"pid\": 100}],\n"
              "                \"windows\": [{\"pid\": 100, \"title\": \"Report.odt\", \"number\": 1}]}],\n"
              "   \"events\": [{\"at\": 1800, \"type\": \"sleep\"}, {\"at\": 2400, \"type\": \"wake\"}]}\n"
              "\n"
              "  start          Unix time at which the program starts (required)\n"
              "  end            seconds after start at which it quits (required)\n"
              "  crash          true: at the end the program is killed instead of quitting; the\n"
              "                 output is then the record a restart recovers (default false)\n"
              "  defaults       settings of the run, over the registered defaults (no daily tasks:\n"
              "                 \"Auto-Reset ...\" and \"Auto-Export Reports\" are refused)\n"
              "  configuration  the record the program loads at start (default: none)\n"
              "  desktop        states of the desktop; each replaces the whole desktop from its \"at\"\n"
              "                 until the next one (\"at\" strictly increasing; before the first:\n"
              "                 an empty desktop)\n"
              "    front          desktop-entry path of the frontmost application, or null\n"
              "    applications   name, path (null: none), pid (required), identifier, regular\n"
              "                   (default true)\n"
              "    windows        front to back: pid (required), title, number, layer (default 0),\n"
              "                   onScreen and orderedIn (default true)\n"
              "  events         what happens, in order (\"at\" never decreasing), each with \"at\" and\n"
              "                 \"type\":\n"
              "    input, sleep, wake, sessionResign, sessionActive, lock, unlock,\n"
              "    suspendAutomatic, suspendManual, wakeUp (the Suspend Timers command and its answers),\n"
              "    resetApplicationTimers, resetPoolTimers, resetAllTimers, clearApplications,\n"
              "    clearPools, clearAll, undo, redo, forceTick, crash (ends the run as \"crash\": true\n"
              "    does, at that moment), and\n"
              "    setDefault with \"key\" and \"value\" (null removes it), for %1\n"
              "\n"
              "Times (\"start\", \"end\", every \"at\", an \"Update Interval\" above 0.5) are multiples of\n"
              "1/8 second, so that sums of them are exact; \"at\" lies between 0 and \"end\". Unknown fields\n"
              "are refused, and the message names the field (\"desktop[2].windows[0].pid: missing\").\n"
              "Examples: tests/app/scenarios in Wendle's sources.\n"
              "\n"
              "Exit status: 0 done, 1 a file could not be read or written, 2 the scenario was refused.\n")
        .arg(VXScenario::settableKeys().join(QStringLiteral(", ")));
}

int VXSimulateCommand::run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    QString scenarioPath;
    QString outputPath;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1StringView("--help") || argument == QLatin1StringView("-h")) {
            out << usage();
            return Success;
        }
        if (argument == QLatin1StringView("-o") || argument == QLatin1StringView("--output")) {
            if (++i == arguments.size()) {
                err << tr("wendle simulate: %1 needs a file name").arg(argument) << '\n';
                return Refused;
            }
            outputPath = arguments.at(i);
        } else if (argument.startsWith(u'-') && argument.size() > 1) {
            err << tr("wendle simulate: unknown option %1").arg(argument) << '\n' << helpPointer();
            return Refused;
        } else if (scenarioPath.isEmpty()) {
            scenarioPath = argument;
        } else {
            err << tr("wendle simulate: one scenario at a time") << '\n';
            return Refused;
        }
    }
    if (scenarioPath.isEmpty() || outputPath.isEmpty()) {
        err << (scenarioPath.isEmpty() ? tr("wendle simulate: a SCENARIO.json is needed")
                                       : tr("wendle simulate: -o OUT.plist is needed"))
            << '\n'
            << helpPointer();
        return Refused;
    }

    QFile file(scenarioPath);
    if (!file.open(QIODevice::ReadOnly)) {
        err << tr("wendle simulate: cannot read <%1>: %2").arg(scenarioPath, file.errorString()) << '\n';
        return Failure;
    }
    QString error;
    const std::optional<VXScenario> scenario = VXScenario::fromJson(file.readAll(), &error);
    if (!scenario) {
        err << tr("wendle simulate: %1: %2").arg(scenarioPath, error) << '\n';
        return Refused;
    }

    VXScenarioRunner runner(*scenario);
    const QByteArray saved = runner.run(&error);
    if (saved.isEmpty()) {
        err << tr("wendle simulate: %1").arg(error) << '\n';
        return Failure;
    }
    if (!writeDataToFile(saved, outputPath, true)) {
        err << tr("wendle simulate: cannot write <%1>").arg(outputPath) << '\n';
        return Failure;
    }
    return Success;
}
