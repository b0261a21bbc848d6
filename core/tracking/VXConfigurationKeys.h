#pragma once

// The vocabulary of the configuration tree: every key and marker the tree holds, written once.
// The tree is saved as a property list, and other programs (and older versions) read it, so
// these strings are part of the file format: never change one.

#include <QString>

// ---- The root dictionary

inline const QString VXApplicationsKey = QStringLiteral("Applications");
inline const QString VXPoolsKey = QStringLiteral("Pools");
inline const QString VXApplicationBlacklistKey = QStringLiteral("Application Blacklist");
inline const QString VXWindowBlacklistKey = QStringLiteral("Window Blacklist");
inline const QString VXCutoffsKey = QStringLiteral("Cutoffs");
inline const QString VXLastTimestampKey = QStringLiteral("Last Timestamp");
inline const QString VXFirstTimestampKey = QStringLiteral("First Timestamp");
inline const QString VXFirstPoolTimestampKey = QStringLiteral("First Pool Timestamp");
inline const QString VXOverallTimeKey = QStringLiteral("Overall Time");
inline const QString VXOverallPoolTimeKey = QStringLiteral("Overall Pool Time");

// A cut-off entry (a value of "Cutoffs", keyed by the lower-cased application name).
inline const QString VXSeparatorsKey = QStringLiteral("Separators");

// ---- Items: applications, windows, pools, pool members and their window entries

inline const QString VXNameKey = QStringLiteral("Name");
inline const QString VXPathKey = QStringLiteral("Path");
inline const QString VXApplicationIDKey = QStringLiteral("Application ID");
inline const QString VXWindowsByNameKey = QStringLiteral("Windows By Name");
inline const QString VXChildrenKey = QStringLiteral("Children");
inline const QString VXTypeKey = QStringLiteral("Type");
inline const QString VXMatchAnyApplicationKey = QStringLiteral("Match Any Application");
inline const QString VXPoolNotesKey = QStringLiteral("Pool Notes");
inline const QString VXExpandedKey = QStringLiteral("Expanded");
inline const QString VXPIDKey = QStringLiteral("PID");
inline const QString VXWindowNumberKey = QStringLiteral("Window Number");

// State at the previous completed sample; stored only when true.
inline const QString VXActiveKey = QStringLiteral("Active");
inline const QString VXFrontActiveKey = QStringLiteral("Front Active");
// Working marks: set while a sample is in progress, gone when it ends.
inline const QString VXActiveMarkKey = QStringLiteral("Active_");
inline const QString VXFrontActiveMarkKey = QStringLiteral("Front Active_");
// Accumulated seconds.
inline const QString VXTimeKey = QStringLiteral("Time");
inline const QString VXFrontTimeKey = QStringLiteral("Front Time");
// Event logs: +t opens a period at t, -t closes it.
inline const QString VXActiveLogKey = QStringLiteral("Active Log");
inline const QString VXFrontActiveLogKey = QStringLiteral("Front Active Log");

// ---- Markers

// "Path" of a window item and of a window entry made from one.
inline const QString VXWindowPathMarker = QStringLiteral("_Window");
// "Path" of a pool.
inline const QString VXPoolPathMarker = QStringLiteral("_Pool");
// "Type" of pools and pool members.
inline const QString VXPoolItemType = QStringLiteral("Pool Item");
