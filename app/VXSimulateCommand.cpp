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
              "Exit status: 0 done, 1 a file could not be read or written, 2 the scenario was refused\n"
              "(the message names the field).\n");
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
            err << tr("wendle simulate: unknown option %1").arg(argument) << '\n' << usage();
            return Refused;
        } else if (scenarioPath.isEmpty()) {
            scenarioPath = argument;
        } else {
            err << tr("wendle simulate: one scenario at a time") << '\n';
            return Refused;
        }
    }
    if (scenarioPath.isEmpty() || outputPath.isEmpty()) {
        err << usage();
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
