#include "VXPatternExtensions.h"

#include "VXStringExtensions.h"

namespace {

const QChar kWildcard = u'*';
const QChar kInversionMark = u'!';

// Blanks and tabs, not line breaks: the parts of a pattern are trimmed of these only.
bool isWhiteSpace(QChar c)
{
    return c == u'\t' || c.category() == QChar::Separator_Space;
}

QStringView trimmedOfWhiteSpace(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isWhiteSpace(text[begin]))
        ++begin;
    while (end > begin && isWhiteSpace(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

QString folded(const QString &text)
{
    return text.toLower().normalized(QString::NormalizationForm_C);
}

}   // namespace

// ---- VXPatternSubject

const QString &VXPatternSubject::folded() const
{
    if (!m_hasFolded) {
        m_folded = ::folded(m_text);
        m_hasFolded = true;
    }
    return m_folded;
}

// ---- VXPattern

VXPattern::VXPattern(const QString &query, bool allowInversion)
{
    if (query.isNull())
        return;
    QString body = query;
    if (allowInversion) {
        const QString trimmed = trimmedString(query);
        if (trimmed.startsWith(kInversionMark)) {
            body = trimmed.sliced(1);
            m_invert = true;
        }
    }
    if (!body.contains(kWildcard)) {
        m_kind = Kind::Exact;
        m_exact = body;
        return;
    }
    m_kind = Kind::Wildcard;
    const QString foldedBody = folded(body);
    for (QStringView part : QStringView(foldedBody).split(kWildcard))
        m_parts.push_back(trimmedOfWhiteSpace(part).toString());
}

bool VXPattern::matches(const VXPatternSubject &subject) const
{
    switch (m_kind) {
    case Kind::Missing: return m_invert;
    case Kind::Exact: return (QString::compare(subject.text(), m_exact, Qt::CaseInsensitive) == 0) != m_invert;
    case Kind::Wildcard: break;
    }

    QStringView rest(subject.folded());
    bool match = true;
    const QString &first = m_parts.front();
    const QString &last = m_parts.back();
    if (!first.isEmpty()) {
        if (rest.startsWith(first))
            rest = rest.sliced(first.size());
        else
            match = false;
    }
    if (match && !last.isEmpty()) {
        if (rest.endsWith(last))
            rest.chop(last.size());
        else
            match = false;
    }
    // Middle parts in order, each after the previous one. An empty one is never found.
    for (std::size_t i = 1; match && i + 1 < m_parts.size(); ++i) {
        const QString &part = m_parts[i];
        const qsizetype found = part.isEmpty() ? -1 : rest.indexOf(part);
        if (found < 0)
            match = false;
        else
            rest = rest.sliced(found + part.size());
    }
    return match != m_invert;
}

// ---- The pattern test

bool matchesQueryInvert(const QString &self, const QString &query, bool invert)
{
    const bool match = VXPattern(query, false).matches(VXPatternSubject(self));
    // A missing pattern answers `invert` (no match, inverted as asked).
    return match != invert;
}

bool matchesQueryAllowInversion(const QString &self, const QString &query, bool allowInversion)
{
    return VXPattern(query, allowInversion).matches(VXPatternSubject(self));
}

bool matchesQuery(const QString &self, const QString &query)
{
    return matchesQueryAllowInversion(self, query, false);
}

// ---- Blacklists

std::optional<QString> validItemNameCheckedAgainstBlacklist(const QString &self, const QStringList &blacklist)
{
    const QString name = trimmedString(self);
    if (name.isEmpty())
        return std::nullopt;
    const VXPatternSubject subject(name);
    for (const QString &pattern : blacklist) {
        if (VXPattern(pattern, true).matches(subject))
            return std::nullopt;
    }
    return name;
}

std::optional<QString> validItemNameCheckedAgainstBlacklist(const QString &self,
                                                            const std::vector<VXPattern> &blacklist)
{
    const QString name = trimmedString(self);
    if (name.isEmpty())
        return std::nullopt;
    const VXPatternSubject subject(name);
    for (const VXPattern &pattern : blacklist) {
        if (pattern.matches(subject))
            return std::nullopt;
    }
    return name;
}

std::optional<QString> validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(
    const QString &self, const std::vector<VXQualifiedBlacklistEntry> &blacklist, const QString &qualifier)
{
    const VXPatternSubject application(qualifier);
    const VXPatternSubject name(self);
    for (const VXQualifiedBlacklistEntry &entry : blacklist) {
        if (VXPattern(entry.qualifier, true).matches(application) && VXPattern(entry.value, true).matches(name))
            return std::nullopt;
    }
    return self;
}

std::optional<QString> validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(const QString &self,
                                                                                const QStringList &blacklist,
                                                                                const QString &qualifier)
{
    const QString name = trimmedString(self);
    if (name.isEmpty())
        return std::nullopt;
    const VXPatternSubject subject(name);
    const VXPatternSubject application(qualifier);
    const QString triangle = rightTriangleArrowString();
    for (const QString &line : blacklist) {
        QString pattern = line;
        if (!qualifier.isEmpty()) {
            const qsizetype split = line.indexOf(triangle);
            if (split >= 0) {
                const QString applicationPart = trimmedString(line.left(split));
                if (!applicationPart.isEmpty() && applicationPart != QLatin1StringView("*")
                    && !VXPattern(applicationPart, true).matches(application))
                    continue;
                pattern = trimmedString(line.mid(split + triangle.size()));
            }
        }
        if (VXPattern(pattern, true).matches(subject))
            return std::nullopt;
    }
    return name;
}

// ---- Cut-offs

QString windowNameByApplyingCutoffs(const QString &self, const QStringList &separators)
{
    for (const QString &separator : separators) {
        if (separator.isEmpty())
            continue;
        const qsizetype found = self.lastIndexOf(separator);
        if (found < 0)
            continue;
        QString cut = trimmedString(self.left(found));
        if (!cut.isEmpty())
            return cut;
    }
    return self;
}
