#pragma once

// The pattern language of blacklists and pools, and the name checks and title cut-offs built on
// it.
//
// A pattern without "*" matches a name equal to it ignoring case. A pattern with "*" is split at
// every "*"; both sides are lower-cased and brought to precomposed form; the first part must
// begin the name, the last must end what remains, and each middle part must follow in order.
// Blanks at the ends of each part do not count ("Mail * Draft" is "Mail*Draft"); an empty part at
// either end matches anything, an empty middle part (two adjacent asterisks) never matches.
// Where inversion is allowed (blacklists, not pools), a pattern whose trimmed form begins with
// "!" matches exactly the names that the rest does not match.
//
// A qualified window-blacklist line names an application, the triangle U+25B8, and a window
// pattern: "Mail ▸ *Draft*".

#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>
#include <vector>

// ---- The pattern test

bool matchesQueryInvert(const QString &self, const QString &query, bool invert);
bool matchesQueryAllowInversion(const QString &self, const QString &query, bool allowInversion);
// Without inversion, as pools match.
bool matchesQuery(const QString &self, const QString &query);

// A name prepared for testing against many patterns: its folded form is made once, on first
// need.
class VXPatternSubject
{
public:
    explicit VXPatternSubject(const QString &text) : m_text(text) { }
    const QString &text() const { return m_text; }
    // Lower-cased and precomposed.
    const QString &folded() const;

private:
    QString m_text;
    mutable QString m_folded;
    mutable bool m_hasFolded = false;
};

// A pattern prepared once and tested against many names; matches() answers exactly what
// matchesQueryAllowInversion() answers for the same query and name.
class VXPattern
{
public:
    VXPattern() = default;   // a missing pattern: matches nothing
    VXPattern(const QString &query, bool allowInversion);

    bool matches(const VXPatternSubject &subject) const;
    bool matches(const QString &name) const { return matches(VXPatternSubject(name)); }

private:
    enum class Kind : unsigned char { Missing, Exact, Wildcard };
    Kind m_kind = Kind::Missing;
    bool m_invert = false;
    QString m_exact;   // Exact: compared ignoring case
    std::vector<QString> m_parts;   // Wildcard: folded and trimmed, at least two
};

// ---- Names checked against blacklists

// The trimmed name, or nothing when it is empty or matches any pattern of the list (inversion
// allowed).
std::optional<QString> validItemNameCheckedAgainstBlacklist(const QString &self, const QStringList &blacklist);
std::optional<QString> validItemNameCheckedAgainstBlacklist(const QString &self,
                                                            const std::vector<VXPattern> &blacklist);

// One line of the window blacklist that names an application.
struct VXQualifiedBlacklistEntry {
    QString qualifier;   // the application pattern
    QString value;   // the window pattern; "*" for every window
};

// The same entry prepared for testing.
struct VXQualifiedBlacklistPattern {
    VXPattern qualifier;
    VXPattern value;
};

// The name unchanged, or nothing when some entry's qualifier matches `qualifier` (the
// application's name) and its value matches the name, both with inversion allowed.
std::optional<QString> validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(
    const QString &self, const std::vector<VXQualifiedBlacklistEntry> &blacklist, const QString &qualifier);

// The same decision made from the raw lines of a blacklist, as when the user removes an item
// and the program checks whether a blacklist already covers it. With a qualifier, a line with
// the triangle whose application part is a name other than "*" counts only when that part
// matches the qualifier, and then its window part is the pattern (an empty window part matches
// nothing here); every other line is a whole pattern. Answers the trimmed name, or nothing when
// it is empty or covered.
std::optional<QString> validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(const QString &self,
                                                                                const QStringList &blacklist,
                                                                                const QString &qualifier);

// ---- Cut-offs

// The title shortened by the first separator that leaves a non-empty text before its last
// occurrence (trimmed); the whole title when none does. Separators are found case-sensitively.
QString windowNameByApplyingCutoffs(const QString &self, const QStringList &separators);
