#include "VXStringExtensions.h"

#include "VXClock.h"
#include "VXLog.h"
#include "VXSystemClock.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLatin1StringView>
#include <QLocale>
#include <QTimeZone>
#include <QUuid>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <pwd.h>
#include <unistd.h>
#include <vector>

const QString kExpressTimeIntervalsAsDaysKey = QStringLiteral("Express Time Intervals As Days");

namespace {

// User-visible texts, looked up in the translations with the English text as the key and fallback.
constexpr char kStringTableContext[] = "VXStringExtensions";
constexpr char kOneDayText[] = QT_TRANSLATE_NOOP("VXStringExtensions", "1 day");
constexpr char kDaysFormat[] = QT_TRANSLATE_NOOP("VXStringExtensions", "%@ days");
constexpr char kNotFoundText[] = QT_TRANSLATE_NOOP("VXStringExtensions", "Not found");
constexpr char kCurrentlyNotAvailableText[] = QT_TRANSLATE_NOOP("VXStringExtensions", "Currently not available");

// The placeholder of kDaysFormat.
constexpr QLatin1StringView kObjectPlaceholder("%@");

// The day stamp of automatic exports, e.g. 2024-03-07.
constexpr char kDayStampFormat[] = "%04ld-%02ld-%02ld";

constexpr char16_t kRightTriangleArrowCodePoint = 9656;   // U+25B8
constexpr char16_t kDashCodePoint = 8212;   // U+2014
constexpr char16_t kBulletCodePoint = 8226;   // U+2022

constexpr QLatin1StringView kContainerLibraryPath("/Library/Containers/com.brasswing.WendleClient/Data/Library/");
constexpr QLatin1StringView kLibraryPath("/Library/");

constexpr std::uint64_t kSecondsPerMinute = 60;
constexpr std::uint64_t kSecondsPerHour = 3600;
constexpr std::uint64_t kSecondsPerDay = 86400;

// Timestamps beyond this magnitude (about 30 million years) are outside QDateTime's range.
constexpr double kLargestTimestampMagnitude = 1e15;

// Fraction digits of a localized decimal: printf's rule for a negative precision, and a cap that
// keeps the text bounded.
constexpr int kDefaultFractionDigits = 6;
constexpr int kMaximumFractionDigits = 100;

QString localized(const char *key)
{
    return QCoreApplication::translate(kStringTableContext, key);
}

// The magnitude in whole seconds, truncated toward zero; NaN is 0 and what does not fit is the
// largest count.
std::uint64_t wholeSeconds(double interval) noexcept
{
    const double magnitude = std::fabs(interval);
    if (!(magnitude >= 1.0))
        return 0;
    if (magnitude >= 18446744073709551616.0)   // 2^64
        return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(magnitude);
}

// Appends the decimal digits of `value` at `out` and returns the end.
char16_t *appendNumber(char16_t *out, std::uint64_t value) noexcept
{
    char16_t digits[20];
    int count = 0;
    do {
        digits[count++] = static_cast<char16_t>(u'0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (count > 0)
        *out++ = digits[--count];
    return out;
}

char16_t *appendTwoDigits(char16_t *out, std::uint64_t value) noexcept
{
    *out++ = static_cast<char16_t>(u'0' + value / 10);
    *out++ = static_cast<char16_t>(u'0' + value % 10);
    return out;
}

// "%01qu:%02qu" below an hour, "%01qu:%02qu:%02qu" from an hour on, written straight into the
// result so that the text is the only allocation.
QString clockText(std::uint64_t seconds)
{
    char16_t buffer[32];   // 20 digits of hours and ":mm:ss"
    char16_t *out = buffer;
    const std::uint64_t minutes = (seconds % kSecondsPerHour) / kSecondsPerMinute;
    if (seconds >= kSecondsPerHour) {
        out = appendNumber(out, seconds / kSecondsPerHour);
        *out++ = u':';
        out = appendTwoDigits(out, minutes);
    } else {
        out = appendNumber(out, minutes);
    }
    *out++ = u':';
    out = appendTwoDigits(out, seconds % kSecondsPerMinute);
    return QString(reinterpret_cast<const QChar *>(buffer), out - buffer);
}

// Below a day, or with days off: "" or "-" for zero, the clock form otherwise.
QString clockOrZeroText(std::uint64_t seconds, bool eatZero)
{
    if (seconds == 0)
        return eatZero ? QString() : QStringLiteral("-");
    return clockText(seconds);
}

// The default locale's decimal separator, read again only when the default locale changes
// (reading it from the system locale costs more than the rest of a duration).
const QString &defaultDecimalPoint()
{
    thread_local QLocale cachedLocale;
    thread_local QString cachedPoint = cachedLocale.decimalPoint();
    const QLocale current;
    if (current != cachedLocale) {
        cachedLocale = current;
        cachedPoint = current.decimalPoint();
    }
    return cachedPoint;
}

// A fixed-point text in ASCII: the digits, at most one "." and a leading "-".
struct FixedPointText {
    char characters[512];   // 309 integer digits, a sign, a point and at most 100 fraction digits
    qsizetype length = 0;
};

// Trailing zeros off a fixed-point text, then a trailing "." or "," (see below).
void trimZeros(FixedPointText &text, QStringView decimalPoint)
{
    if (text.length == 0 || text.characters[text.length - 1] != '0')
        return;
    while (text.length > 0 && text.characters[text.length - 1] == '0')
        --text.length;
    const bool separatorIsStripped
        = std::all_of(decimalPoint.begin(), decimalPoint.end(), [](QChar c) { return c == u'.' || c == u','; });
    if (separatorIsStripped && text.length > 0 && text.characters[text.length - 1] == '.')
        --text.length;
}

// Writes the value the way "%.*f" does in the C locale, without reading LC_NUMERIC. With trim,
// and when the text ends in "0", the trailing zeros go, and then the separator when it is one
// of the two that the trimming strips ("." and ","): the trimming works on the localized text,
// so a locale with another separator keeps it ("10٫"). Zeros and separators come off the end
// only: a leading zero stays ("0.5", and "0" for 0.0).
FixedPointText fixedPointText(double value, int digits, bool trim, QStringView decimalPoint)
{
    FixedPointText text;
    const auto [end, error] = std::to_chars(text.characters, text.characters + sizeof text.characters, value,
                                            std::chars_format::fixed, digits);
    text.length = error == std::errc() ? end - text.characters : 0;
    if (trim)
        trimZeros(text, decimalPoint);
    return text;
}

// The days with one trimmed fraction digit, as fixedPointText(seconds / 86400.0, 1, true) writes
// them. Below 2^40 seconds that quotient is off the exact one by far less than the exact one can
// be from a rounding tie without being on it, so rounding the exact one in integers gives the
// same digits; ties and larger counts go through the double.
FixedPointText daysWithOneFractionDigit(std::uint64_t seconds, QStringView decimalPoint)
{
    constexpr std::uint64_t kSecondsPerTenthOfADay = kSecondsPerDay / 10;
    const std::uint64_t remainder = seconds % kSecondsPerTenthOfADay;
    if (seconds >= (std::uint64_t(1) << 40) || 2 * remainder == kSecondsPerTenthOfADay)
        return fixedPointText(static_cast<double>(seconds) / static_cast<double>(kSecondsPerDay), 1, true,
                              decimalPoint);
    const std::uint64_t tenths = seconds / kSecondsPerTenthOfADay + (2 * remainder > kSecondsPerTenthOfADay ? 1 : 0);
    FixedPointText text;
    char *out = std::to_chars(text.characters, text.characters + 20, tenths / 10).ptr;   // at most 20 digits
    *out++ = '.';
    *out++ = static_cast<char>('0' + tenths % 10);
    text.length = out - text.characters;
    trimZeros(text, decimalPoint);
    return text;
}

// The text with the locale's separator in place of ".", between a prefix and a suffix, made in
// one allocation.
QString localizedText(const FixedPointText &text, QStringView decimalPoint, QStringView prefix = {},
                      QStringView suffix = {})
{
    const char *const begin = text.characters;
    const char *const end = begin + text.length;
    const bool hasPoint = std::find(begin, end, '.') != end;
    QString result(prefix.size() + text.length + (hasPoint ? decimalPoint.size() - 1 : 0) + suffix.size(),
                   Qt::Uninitialized);
    QChar *out = std::copy(prefix.begin(), prefix.end(), result.data());
    for (const char *c = begin; c != end; ++c) {
        if (*c == '.')
            out = std::copy(decimalPoint.begin(), decimalPoint.end(), out);
        else
            *out++ = QLatin1Char(*c);
    }
    std::copy(suffix.begin(), suffix.end(), out);
    return result;
}

QDateTime dateTimeAt(double timestamp, const QTimeZone &zone)
{
    if (!std::isfinite(timestamp) || std::fabs(timestamp) > kLargestTimestampMagnitude)
        return QDateTime();
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::floor(timestamp * 1000.0)), zone);
}

// A date format's pieces: runs of one pattern letter (fields such as "MMMM" or "yyyy") and the
// literal text between them (quoted parts included).
struct FormatPiece {
    QString text;
    bool isField = false;
};

bool isPatternLetter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

std::vector<FormatPiece> formatPieces(const QString &format)
{
    std::vector<FormatPiece> pieces;
    const auto appendLiteral = [&](QStringView text) {
        if (pieces.empty() || pieces.back().isField)
            pieces.push_back({QString(), false});
        pieces.back().text += text;
    };
    for (qsizetype i = 0; i < format.size();) {
        const QChar c = format.at(i);
        if (c == u'\'') {
            qsizetype end = format.indexOf(u'\'', i + 1);
            end = end < 0 ? format.size() : end + 1;
            appendLiteral(QStringView(format).mid(i, end - i));
            i = end;
        } else if (isPatternLetter(c)) {
            qsizetype end = i + 1;
            while (end < format.size() && format.at(end) == c)
                ++end;
            pieces.push_back({format.mid(i, end - i), true});
            i = end;
        } else {
            appendLiteral(QStringView(&format.constData()[i], 1));
            ++i;
        }
    }
    return pieces;
}

// Literal text that only joins fields (blanks and punctuation), no words of its own.
bool isJoiningLiteral(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.isSpace() || c.isPunct(); });
}

// The medium date style, which the locale data has no name for: the long form without the
// weekday and with the month's short name ("dddd, MMMM d, yyyy" gives "MMM d, yyyy", Mar 7,
// 2024; "yyyy年M月d日dddd" gives "yyyy年M月d日"). The text that joins the weekday to the date
// goes with it: the text after it, or, when it comes last, the blanks and punctuation before it.
QString mediumDateFormat(const QLocale &locale)
{
    std::vector<FormatPiece> pieces = formatPieces(locale.dateFormat(QLocale::LongFormat));
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (!pieces[i].isField || !pieces[i].text.startsWith(u"ddd"))
            continue;
        std::size_t from = i;
        std::size_t to = i + 1;
        if (to < pieces.size() && !pieces[to].isField && to + 1 < pieces.size())
            ++to;
        else if (to >= pieces.size() && from > 0 && isJoiningLiteral(pieces[from - 1].text))
            --from;
        pieces.erase(pieces.begin() + qsizetype(from), pieces.begin() + qsizetype(to));
        break;
    }
    QString format;
    for (const FormatPiece &piece : pieces)
        format += piece.isField && piece.text == u"MMMM" ? QStringLiteral("MMM") : piece.text;
    return format.trimmed();
}

// The medium time style: the locale's long time form without its zone name ("h:mm:ss AP t" gives
// "h:mm:ss AP", "H:mm:ss (t)" gives "H:mm:ss"): a read-out shows seconds, and the zone is the
// user's own.
QString mediumTimeFormat(const QLocale &locale)
{
    QString result;
    for (const FormatPiece &piece : formatPieces(locale.timeFormat(QLocale::LongFormat))) {
        if (!piece.isField || piece.text != u"t")
            result += piece.text;
    }
    result.remove(QStringLiteral("()"));
    return result.simplified();
}

QString dayStamp(const QDateTime &moment, int *hour)
{
    const QDate date = moment.date();
    if (hour)
        *hour = moment.isValid() ? moment.time().hour() : 0;
    return QString::asprintf(kDayStampFormat, static_cast<long>(date.year()), static_cast<long>(date.month()),
                             static_cast<long>(date.day()));
}

// Blanks and tabs, without line breaks.
bool isBlankOrTab(char32_t c) noexcept
{
    return c == U'\t' || QChar::category(c) == QChar::Separator_Space;
}

// The code point that ends at `end` (a surrogate pair counts as one).
char32_t codePointBefore(QStringView text, qsizetype end) noexcept
{
    const char16_t last = text[end - 1].unicode();
    if (QChar::isLowSurrogate(last) && end >= 2 && QChar::isHighSurrogate(text[end - 2].unicode()))
        return QChar::surrogateToUcs4(text[end - 2].unicode(), last);
    return last;
}

// The code point that starts at `index`, moving `index` past it.
char32_t nextCodePoint(QStringView text, qsizetype &index) noexcept
{
    const char16_t first = text[index++].unicode();
    if (QChar::isHighSurrogate(first) && index < text.size() && QChar::isLowSurrogate(text[index].unicode()))
        return QChar::surrogateToUcs4(first, text[index++].unicode());
    return first;
}

qsizetype codePointLength(char32_t c) noexcept
{
    return QChar::requiresSurrogates(c) ? 2 : 1;
}

// The folders under which volumes are mounted, each with its trailing "/".
QStringList mountRoots()
{
    QString user = qEnvironmentVariable("USER");
    if (user.isEmpty()) {
        if (const passwd *entry = ::getpwuid(::getuid()))
            user = QFile::decodeName(entry->pw_name);
    }
    QStringList roots;
    if (!user.isEmpty() && !user.contains(u'/'))
        roots << QStringLiteral("/media/") + user + u'/' << QStringLiteral("/run/media/") + user + u'/';
    roots << QStringLiteral("/mnt/");
    return roots;
}

// The components shown for an existing path: "/" and then every name of its absolute, cleaned
// form. Nothing for a path that does not exist.
std::optional<QStringList> displayComponents(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    const QFileInfo info(path);
    if (!info.exists())
        return std::nullopt;
    QStringList components {QStringLiteral("/")};
    components += QDir::cleanPath(info.absoluteFilePath()).split(u'/', Qt::SkipEmptyParts);
    return components;
}

}   // namespace

// ---- Durations, numbers and dates

bool expressTimeIntervalsAsDays()
{
    if (const VXUserDefaults *defaults = VXUserDefaults::standard())
        return defaults->boolForKey(kExpressTimeIntervalsAsDaysKey);
    return true;
}

VXDurationTexts::VXDurationTexts() : m_oneDay(localized(kOneDayText)), m_decimalPoint(defaultDecimalPoint())
{
    const QString format = localized(kDaysFormat);
    const qsizetype placeholder = format.indexOf(kObjectPlaceholder);
    m_hasPlaceholder = placeholder >= 0;
    m_daysPrefix = m_hasPlaceholder ? format.left(placeholder) : format;
    if (m_hasPlaceholder)
        m_daysSuffix = format.mid(placeholder + kObjectPlaceholder.size());
}

QString VXDurationTexts::daysText(std::uint64_t seconds) const
{
    const FixedPointText number = daysWithOneFractionDigit(seconds, m_decimalPoint);
    if (number.length == 1 && number.characters[0] == '1')
        return m_oneDay;
    if (!m_hasPlaceholder)
        return m_daysPrefix;
    // "%@ days" filled in one pass: the result is the only allocation.
    return localizedText(number, m_decimalPoint, m_daysPrefix, m_daysSuffix);
}

QString VXDurationTexts::text(double interval, bool eatZero, bool expressAsDays) const
{
    const std::uint64_t seconds = wholeSeconds(interval);
    if (seconds >= kSecondsPerDay && expressAsDays)
        return daysText(seconds);
    return clockOrZeroText(seconds, eatZero);
}

QString stringWithTimeInterval(double interval, bool eatZero, bool expressAsDays)
{
    const std::uint64_t seconds = wholeSeconds(interval);
    // Below a day no translated text is needed: the common case reads none.
    if (seconds >= kSecondsPerDay && expressAsDays)
        return VXDurationTexts().daysText(seconds);
    return clockOrZeroText(seconds, eatZero);
}

QString stringWithTimeInterval(double interval, bool eatZero)
{
    const std::uint64_t seconds = wholeSeconds(interval);
    // The setting matters only from a day on: the common case reads no setting.
    return stringWithTimeInterval(interval, eatZero, seconds >= kSecondsPerDay && expressTimeIntervalsAsDays());
}

QString localizedStringWithDouble(double value, std::int16_t numberOfFractionDigits, bool trim)
{
    const int digits = numberOfFractionDigits < 0 ? kDefaultFractionDigits
                                                  : std::min<int>(numberOfFractionDigits, kMaximumFractionDigits);
    const QString &decimalPoint = defaultDecimalPoint();
    return localizedText(fixedPointText(value, digits, trim, decimalPoint), decimalPoint);
}

QString stringWithTimeIntervalAsDate(double timestamp, const QTimeZone &zone)
{
    const QDateTime moment = dateTimeAt(timestamp, zone);
    if (!moment.isValid())
        return QString();
    // Read the locale on every call, so that a change of locale shows at once.
    const QLocale locale;
    return locale.toString(moment, mediumDateFormat(locale) + u' ' + mediumTimeFormat(locale));
}

QString stringWithTimeIntervalAsDate(double timestamp)
{
    return stringWithTimeIntervalAsDate(timestamp, VXSystemClock().timeZone());
}

QString currentYearMonthDayStringWithHour(const VXClock &clock, int *hour)
{
    return dayStamp(dateTimeAt(clock.now(), clock.timeZone()), hour);
}

QString currentYearMonthDayStringWithHour(int *hour)
{
    return currentYearMonthDayStringWithHour(VXSystemClock(), hour);
}

QString CSVStringWithString(const QString &field, const QString &separator)
{
    if (field.isNull())
        return QStringLiteral("");
    const bool needsQuotes = (!separator.isEmpty() && field.contains(separator)) || field.contains(u'"')
        || field.contains(u'\n') || field.contains(u'\r');
    if (!needsQuotes)
        return field;
    QString quoted;
    quoted.reserve(field.size() + 2 + field.count(u'"'));
    quoted.append(u'"');
    for (const QChar c : field) {
        if (c == u'"')
            quoted.append(u'"');
        quoted.append(c);
    }
    quoted.append(u'"');
    return quoted;
}

QString newUUIDString()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString rightTriangleArrowString()
{
    return QString(QChar(kRightTriangleArrowCodePoint));
}

QString spacedRightTriangleArrowString()
{
    return u' ' + rightTriangleArrowString() + u' ';
}

QString dashString()
{
    return QString(QChar(kDashCodePoint));
}

QString spacedDashString()
{
    return u' ' + dashString() + u' ';
}

QString bulletString()
{
    return QString(QChar(kBulletCodePoint));
}

// ---- Names

QString trimmedString(const QString &self)
{
    return self.trimmed();
}

QString trimmedApplicationNameByIgnoringExtension(const QString &self)
{
    QString name = self.trimmed();
    static constexpr QLatin1StringView extension(".app");
    if (name.size() >= extension.size() + 1 && name.endsWith(extension, Qt::CaseInsensitive))
        name.chop(extension.size());
    return name;
}

bool isEmptyOrEndsWithCharacterFromSet(const QString &self, QStringView characters)
{
    // Trimming the front changes neither the last character nor whether anything is left.
    qsizetype end = self.size();
    while (end > 0) {
        const char32_t c = codePointBefore(self, end);
        if (!isBlankOrTab(c))
            break;
        end -= codePointLength(c);
    }
    if (end == 0)
        return true;
    const char32_t last = codePointBefore(self, end);
    for (qsizetype i = 0; i < characters.size();) {
        if (nextCodePoint(characters, i) == last)
            return true;
    }
    return false;
}

// ---- Cutting

namespace {

qsizetype indexOfNeedle(const QString &self, const QString &needle, bool searchBackwards)
{
    if (needle.isEmpty())
        return -1;
    return searchBackwards ? self.lastIndexOf(needle) : self.indexOf(needle);
}

}   // namespace

std::optional<QString> substringBefore(const QString &self, const QString &needle, bool searchBackwards,
                                       bool returnSelfIfNotFound)
{
    const qsizetype index = indexOfNeedle(self, needle, searchBackwards);
    if (index < 0)
        return returnSelfIfNotFound ? std::optional<QString>(self) : std::nullopt;
    return self.left(index);
}

std::optional<QString> substringBefore(const QString &self, const QString &needle, bool returnSelfIfNotFound)
{
    return substringBefore(self, needle, false, returnSelfIfNotFound);
}

std::optional<QString> substringAfter(const QString &self, const QString &needle, bool searchBackwards,
                                      bool returnSelfIfNotFound)
{
    const qsizetype index = indexOfNeedle(self, needle, searchBackwards);
    if (index < 0)
        return returnSelfIfNotFound ? std::optional<QString>(self) : std::nullopt;
    return self.mid(index + needle.size());
}

std::optional<QString> substringAfter(const QString &self, const QString &needle, bool returnSelfIfNotFound)
{
    return substringAfter(self, needle, false, returnSelfIfNotFound);
}

std::optional<QString> substringBetween(const QString &self, const QString &first, const QString &second,
                                        bool returnSelfIfNotFound)
{
    const std::optional<QString> after = substringAfter(self, first, returnSelfIfNotFound);
    if (!after)
        return std::nullopt;
    return substringBefore(*after, second, returnSelfIfNotFound);
}

// ---- Paths

bool isEqualToPath(const QString &self, const QString &path)
{
    if (path.isNull())
        return false;
    return self.compare(path, Qt::CaseInsensitive) == 0;
}

bool isFolderPath(const QString &self)
{
    return !self.isEmpty() && QFileInfo(self).isDir();
}

bool checkFolderPathAndCreateIfNecessary(const QString &self)
{
    const QString path = stringByExpandingTildeInPath(self);
    if (path.isEmpty())
        return false;
    if (QFileInfo(path).isDir())
        return true;
    if (QDir().mkpath(path))
        return true;
    qCWarning(lcFoundation).noquote() << QStringLiteral("cannot create the folder <%1>").arg(path);
    return false;
}

QString stringByExpandingTildeInPath(const QString &self)
{
    if (self == QLatin1StringView("~"))
        return QDir::homePath();
    if (self.startsWith(QLatin1StringView("~/")))
        return QDir::homePath() + self.mid(1);
    return self;
}

QString stringByAbbreviatingWithTildeInPath(const QString &self)
{
    const QString home = QDir::homePath();
    if (self == home)
        return QStringLiteral("~");
    if (home != QLatin1StringView("/") && self.startsWith(home + u'/'))
        return u'~' + self.mid(home.size());
    return self;
}

QString volumePath(const QString &self)
{
    for (const QString &root : mountRoots()) {
        if (!self.startsWith(root))
            continue;
        const qsizetype slash = self.indexOf(u'/', root.size());
        const qsizetype end = slash < 0 ? self.size() : slash;
        return end == root.size() ? QString() : self.left(end);
    }
    return QStringLiteral("/");
}

std::optional<QStringList> pathComponentsToDisplayRelativeToPath(const QString &self, const QString &basePath,
                                                                 bool includeFileName)
{
    std::optional<QStringList> components = displayComponents(self);
    if (!components)
        return std::nullopt;
    const qsizetype count = components->size();
    const std::optional<QStringList> baseComponents = displayComponents(basePath);
    const qsizetype baseCount = baseComponents ? baseComponents->size() : 0;
    if (baseCount >= 1 && count > baseCount) {
        QStringList relative = components->mid(baseCount);
        if (!includeFileName)
            relative.removeLast();
        return relative;
    }
    if (!includeFileName && count >= 2)
        components->removeLast();
    return components;
}

QString readablePathRepresentationRelativeToPath(const QString &self, const QString &basePath, bool includeFileName)
{
    if (const std::optional<QStringList> components
        = pathComponentsToDisplayRelativeToPath(self, basePath, includeFileName))
        return components->join(spacedRightTriangleArrowString());
    // "%@ %C %@": the path, the em dash, and why it cannot be shown: a volume that is not mounted
    // (its mount point is gone) is currently not available.
    const QString volume = volumePath(self);
    const bool volumeExists = !volume.isEmpty() && QFileInfo::exists(volume);
    return self + spacedDashString() + localized(volumeExists ? kNotFoundText : kCurrentlyNotAvailableText);
}

QString readablePathRepresentation(const QString &self)
{
    return readablePathRepresentationRelativeToPath(self, QString(), true);
}

QString stringByDeletingWendleContainerPathComponents(const QString &self)
{
    const qsizetype index = self.indexOf(kContainerLibraryPath);
    if (index < 0)
        return self;
    QString path = self;
    path.replace(index, kContainerLibraryPath.size(), kLibraryPath);
    return path;
}

QString displayFileName(const QString &self)
{
    QString path = self;
    while (path.size() > 1 && path.endsWith(u'/'))
        path.chop(1);
    if (path == QLatin1StringView("/"))
        return path;
    QString name = path.mid(path.lastIndexOf(u'/') + 1);
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot > 0)
        name.truncate(dot);
    return name;
}

// ---- Formats

QString VXFillFormat(const QString &format, const QStringList &arguments)
{
    QString result;
    result.reserve(format.size() + 32);
    qsizetype next = 0;
    for (qsizetype i = 0; i < format.size(); ++i) {
        const QChar c = format.at(i);
        const QStringView rest = QStringView(format).mid(i + 1);
        if (c != u'%' || rest.isEmpty()) {
            result.append(c);
        } else if (rest.front() == u'%') {
            result.append(c);
            ++i;
        } else if (const qsizetype length = rest.startsWith(u'@') ? 1
                       : rest.startsWith(u"lu")                   ? 2
                                                                  : 0;
                   length > 0 && next < arguments.size()) {
            result.append(arguments.at(next++));
            i += length;
        } else {
            result.append(c);
        }
    }
    return result;
}
