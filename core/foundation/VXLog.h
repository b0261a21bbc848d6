#pragma once

// Logging of the foundation module and of the program as a whole.
//
// Ordinary log lines are plain sentences written through a Qt logging category (one per module;
// lcFoundation here). The program installs VXInstallMessageHandler() once at start-up, which sends
// every line to standard error: the journal when the session started the program, the terminal
// otherwise. The journal stamps time and program name itself, so a line carries neither.
//
// Debug output goes through VXDebugLog(): it writes only while the user default "VXDebugLog" is on,
// and each of its lines begins with "[Wendle Debug Log] ".
//
//     VXDebugLog(u"not ordered in: %1"_s, title);          // QString::arg placeholders
//     VXDebugLog(u"tick took %1 s for %2 windows"_s, 0.25, 12);

#include <QDebug>
#include <QLatin1StringView>
#include <QLocale>
#include <QLoggingCategory>
#include <QString>
#include <QStringView>

#include <cstdio>
#include <type_traits>
#include <utility>

Q_DECLARE_LOGGING_CATEGORY(lcFoundation)

// The user default that turns debug output on, and the prefix of every debug line.
extern const QString VXDebugLogKey;   // "VXDebugLog"
extern const QString VXDebugLogPrefix;   // "[Wendle Debug Log] "

// Whether the user default "VXDebugLog" is on in VXUserDefaults::standard() (off when there is no
// standard store). Cheap: the answer is cached and kept current through the store's valueChanged
// signal, so a change (also one written by another process) takes effect at once.
bool VXDebugLogEnabled();

// While debug output is on, writes "[Wendle Debug Log] " + message and answers true; otherwise
// writes nothing and answers false.
bool VXDebugLog(const QString &message);

namespace VXLogDetail {

// One argument of a debug line as text: numbers in full (a Unix time keeps its fraction), strings
// as they are, anything else as QDebug would show it.
template <typename T> QString argumentText(const T &value)
{
    using V = std::remove_cvref_t<T>;
    if constexpr (std::is_same_v<V, bool>) {
        return value ? QStringLiteral("true") : QStringLiteral("false");
    } else if constexpr (std::is_same_v<V, char16_t> || std::is_same_v<V, QChar>) {
        return QString(QChar(value));
    } else if constexpr (std::is_integral_v<V> && !std::is_same_v<V, char>) {
        return QString::number(value);
    } else if constexpr (std::is_floating_point_v<V>) {
        return QString::number(double(value), 'g', QLocale::FloatingPointShortest);
    } else if constexpr (std::is_convertible_v<const T &, QStringView>) {
        return QStringView(value).toString();
    } else if constexpr (std::is_same_v<V, QLatin1StringView>) {
        return QString(value);
    } else {
        QString text;
        QDebug(&text).noquote().nospace() << value;
        return text;
    }
}

}   // namespace VXLogDetail

// The formatted form: `format` with %1, %2, ... replaced by the arguments in one pass (so an
// argument that itself contains "%2" is left alone). Nothing is formatted while debug output is
// off, which keeps a call in the tick cheap.
template <typename... Args>
requires(sizeof...(Args) > 0) bool VXDebugLog(const QString &format, const Args &...args)
{
    if (!VXDebugLogEnabled())
        return false;
    return VXDebugLog(format.arg(VXLogDetail::argumentText(args)...));
}

// Installs the program's message handler: every message that passes its category's filter becomes
// one line on `stream` (standard error unless a test passes its own), written whole under a lock so
// that lines of different threads never interleave. When `stream` is the journal (systemd's
// JOURNAL_STREAM names it), each line starts with its syslog priority ("<4>" for a warning) so
// that `journalctl -p` can filter; otherwise the line is the message alone. A developer who sets
// QT_MESSAGE_PATTERN gets Qt's formatting instead.
void VXInstallMessageHandler(std::FILE *stream = stderr);
// Puts back the handler that was active before VXInstallMessageHandler().
void VXRemoveMessageHandler();
