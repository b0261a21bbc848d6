#pragma once

// Running peer programs (Python's plistlib, plistutil, the wendle binary) from tests.

#include <QFileInfo>
#include <QProcess>
#include <QString>
#include <QStringList>

struct VXProcessResult {
    int exitCode = -1;
    QByteArray standardOutput;
    QByteArray standardError;
    bool started = false;
};

inline VXProcessResult VXRunProcess(const QString &program, const QStringList &arguments, int timeoutMs = 120000,
                                    const QByteArray &input = QByteArray())
{
    VXProcessResult result;
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted(10000))
        return result;
    result.started = true;
    if (!input.isEmpty())
        process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.standardOutput = process.readAllStandardOutput();
    result.standardError = process.readAllStandardError();
    return result;
}

// The Python interpreter the build found (Debian's, with its modules), or empty.
inline QString VXTestPython()
{
#ifdef WENDLE_PYTHON
    const QString python = QStringLiteral(WENDLE_PYTHON);
    if (!python.isEmpty() && QFileInfo(python).isExecutable())
        return python;
#endif
    return QString();
}

// A file under tests/, e.g. "plist/plist_peer.py".
inline QString VXTestDataPath(const QString &relative)
{
    return QStringLiteral(WENDLE_TESTS_DIR "/") + relative;
}
