#pragma once

// The blacklists and cut-offs stored in the configuration, and the forms the sampler prepares
// from them at every tick.
//
// "Application Blacklist" holds one pattern per entry; an entry ending in ".app" stands for the
// name without it. "Window Blacklist" holds window patterns, or qualified lines that name an
// application before the triangle U+25B8 ("Mail ▸ *Draft*"; "Mail ▸" alone for every window of
// Mail; "* ▸ pattern" for every application). "Cutoffs" maps lower-cased application names to
// {"Separators": [...]}, tried in order.

#include "VXPatternExtensions.h"
#include "VXValue.h"

#include <QString>
#include <QStringList>

#include <vector>

// The entries a blacklist starts with: the program never tracks itself, and windows whose title
// is a web address are private.
inline const QString VXDefaultApplicationBlacklistEntry = QStringLiteral("Wendle");
inline const QString VXDefaultWindowBlacklistEntry = QStringLiteral("http*://*");

// The array stored under `name` ("Application Blacklist" or "Window Blacklist"); when it is
// missing (or not an array), a new one holding the default entry is stored and returned.
VXArray &blacklistWithName(VXDictionary &configuration, const QString &name);

// The application-blacklist entries as patterns: trimmed, a final ".app" dropped.
QStringList VXApplicationBlacklistPatterns(const VXArray &entries);

// The window blacklist split into plain patterns and qualified entries. A line without the
// triangle is a plain pattern as it stands. A line with it is split at the first triangle: the
// trimmed part before it (without a final ".app") qualifies the trimmed part after it; an empty
// window part means every window ("*"). A line whose application part is empty or "*" is the
// plain pattern of its window part.
struct VXPreprocessedWindowBlacklist {
    QStringList unqualified;
    std::vector<VXQualifiedBlacklistEntry> qualified;
};
VXPreprocessedWindowBlacklist VXPreprocessWindowBlacklist(const VXArray &lines);

// The entries sorted in place in the program's string order, as the preferences show them.
void VXSortBlacklist(VXArray &blacklist);
// The entries joined with "\n", as the preferences' text view shows them.
QString VXBlacklistText(const VXArray &blacklist);
// Replaces the entries of the blacklist stored under `name` with the lines of `text` (split at
// every "\n"; empty lines are kept and match nothing).
void VXSetBlacklistText(VXDictionary &configuration, const QString &name, const QString &text);

// "Cutoffs" of the configuration, or null.
VXDictionary *cutoffs(const VXDictionary &configuration);
// The separators for the application of that name (looked up lower-cased); none when it has no
// entry.
QStringList VXSeparatorsForApplication(const VXDictionary *cutoffs, const QString &applicationName);
