#pragma once

// Turns a process and the hints its windows carry into the application the tracker sees: the
// desktop entry plays the part of the bundle (its ID is the bundle identifier, its path the
// bundle path, its localized Name the application's name); without an entry the executable
// (/proc/PID/exe) is the bundle path and the window class or the executable's name the name.
//
// Results are cached per process, keyed by the process's start time so that a reused process
// identifier is not taken for the old process; /proc is read only for a process not seen before
// or when the caller asks for a check.

#include "VXDesktop.h"
#include "VXDesktopEntryIndex.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <unordered_map>
#include <vector>

struct VXApplicationHints {
    // _GTK_APPLICATION_ID or _KDE_NET_WM_DESKTOP_FILE: names the entry outright.
    QString desktopFileID;
    // WM_CLASS: instance, then class, are matched against the entries.
    QString windowInstance;
    QString windowClass;

    friend bool operator==(const VXApplicationHints &, const VXApplicationHints &) = default;
};

class VXApplicationResolver
{
public:
    VXApplicationResolver(VXDesktopEntryIndex &index, QStringList localeForms);

    // Fills the name, bundle path and bundle identifier of `application` for process `pid`
    // (negative when unknown) with these hints. With `checkProcess`, the process's start time is
    // read again to tell whether the identifier now belongs to another process.
    void resolve(std::int64_t pid, const VXApplicationHints &hints, bool checkProcess,
                 VXRunningApplication &application);
    // Drops the cached processes that are not in `alive` (sorted ascending).
    void retainProcesses(const std::vector<std::int64_t> &alive);
    // The executable of a process resolved before (read once, with its start time); empty when
    // unknown.
    QString executable(std::int64_t pid) const;

    // How many times /proc was read for a process: tests check that a steady desktop reads none.
    int processReads() const { return m_processReads; }

    // The start time of a process (clock ticks after boot, field 22 of /proc/PID/stat), 0 when
    // it cannot be read.
    static std::uint64_t processStartTime(std::int64_t pid);
    // The target of /proc/PID/exe, without the " (deleted)" mark; empty when it cannot be read.
    static QString processExecutable(std::int64_t pid);

private:
    struct Resolved {
        QString name;
        QString bundlePath;
        QString bundleIdentifier;
    };
    struct ProcessRecord {
        std::uint64_t startTime = 0;
        QString executable;
        bool resolved = false;
        VXApplicationHints hints;
        int indexGeneration = -1;
        Resolved result;
    };

    Resolved resolveHints(const VXApplicationHints &hints, const QString &executable);

    VXDesktopEntryIndex &m_index;
    QStringList m_localeForms;
    std::unordered_map<std::int64_t, ProcessRecord> m_processes;
    int m_processReads = 0;
};
