#include "VXApplicationResolver.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

VXApplicationResolver::VXApplicationResolver(VXDesktopEntryIndex &index, QStringList localeForms) :
    m_index(index), m_localeForms(std::move(localeForms))
{
}

std::uint64_t VXApplicationResolver::processStartTime(std::int64_t pid)
{
    if (pid <= 0)
        return 0;
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray stat = file.read(4096);
    // The command name (field 2) is in parentheses and may itself hold ") ": fields after it are
    // counted from the last one.
    const qsizetype close = stat.lastIndexOf(')');
    if (close < 0)
        return 0;
    const QList<QByteArray> fields = stat.mid(close + 2).split(' ');
    // Field 3 (state) is fields[0]; field 22 (starttime) is fields[19].
    if (fields.size() < 20)
        return 0;
    bool ok = false;
    const std::uint64_t startTime = fields[19].toULongLong(&ok);
    return ok ? startTime : 0;
}

QString VXApplicationResolver::processExecutable(std::int64_t pid)
{
    if (pid <= 0)
        return QString();
    QString target = QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid));
    if (target.endsWith(QLatin1StringView(" (deleted)")))
        target.chop(10);
    return target;
}

VXApplicationResolver::Resolved VXApplicationResolver::resolveHints(const VXApplicationHints &hints,
                                                                    const QString &executable)
{
    const VXDesktopEntry *entry = nullptr;
    if (!hints.desktopFileID.isEmpty())
        entry = m_index.entryForID(hints.desktopFileID);
    if (!entry && !hints.windowInstance.isEmpty())
        entry = m_index.entryForWMClass(hints.windowInstance);
    if (!entry && !hints.windowClass.isEmpty())
        entry = m_index.entryForWMClass(hints.windowClass);

    Resolved resolved;
    if (entry) {
        resolved.bundleIdentifier = entry->id;
        resolved.bundlePath = entry->path;
        resolved.name = entry->localizedName(m_localeForms);
    } else {
        resolved.bundlePath = executable;
    }
    if (resolved.name.isEmpty())
        resolved.name = hints.windowClass;
    if (resolved.name.isEmpty() && !executable.isEmpty())
        resolved.name = QFileInfo(executable).fileName();
    return resolved;
}

void VXApplicationResolver::resolve(std::int64_t pid, const VXApplicationHints &hints, bool checkProcess,
                                    VXRunningApplication &application)
{
    application.processIdentifier = pid < 0 ? -1 : pid;
    Resolved resolved;
    if (pid < 0) {
        resolved = resolveHints(hints, QString());
    } else {
        auto found = m_processes.find(pid);
        if (found != m_processes.end() && checkProcess) {
            ++m_processReads;
            if (processStartTime(pid) != found->second.startTime) {
                m_processes.erase(found);
                found = m_processes.end();
            }
        }
        if (found == m_processes.end()) {
            ++m_processReads;
            ProcessRecord record;
            record.startTime = processStartTime(pid);
            record.executable = processExecutable(pid);
            found = m_processes.emplace(pid, std::move(record)).first;
        }
        ProcessRecord &record = found->second;
        // The index may have been rebuilt since: look up again, which costs no disk access unless
        // the index itself finds its folders changed.
        if (!record.resolved || record.hints != hints || record.indexGeneration != m_index.generation()) {
            record.result = resolveHints(hints, record.executable);
            record.hints = hints;
            record.resolved = true;
            record.indexGeneration = m_index.generation();
        }
        resolved = record.result;
    }
    application.localizedName = resolved.name;
    application.bundlePath = resolved.bundlePath;
    application.bundleIdentifier = resolved.bundleIdentifier;
}

QString VXApplicationResolver::executable(std::int64_t pid) const
{
    const auto found = m_processes.find(pid);
    return found == m_processes.end() ? QString() : found->second.executable;
}

void VXApplicationResolver::retainProcesses(const std::vector<std::int64_t> &alive)
{
    for (auto it = m_processes.begin(); it != m_processes.end();) {
        if (std::binary_search(alive.begin(), alive.end(), it->first))
            ++it;
        else
            it = m_processes.erase(it);
    }
}
