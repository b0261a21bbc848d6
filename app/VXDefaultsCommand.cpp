#include "VXDefaultsCommand.h"

#include "VXPropertyListSerialization.h"
#include "VXRegisteredDefaults.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QTextStream>
#include <QTimeZone>

#include <algorithm>
#include <cmath>
#include <optional>

const QString VXDefaultsCommand::kName = QStringLiteral("defaults");

namespace {

// The messages' context for translators.
struct Text {
    Q_DECLARE_TR_FUNCTIONS(VXDefaultsCommand)
};

const QString kRead = QStringLiteral("read");
const QString kAll = QStringLiteral("--all");
const QString kWrite = QStringLiteral("write");
const QString kDelete = QStringLiteral("delete");
const QString kHelpOptions[] = {QStringLiteral("-h"), QStringLiteral("--help"), QStringLiteral("help")};

enum class Kind { String, Integer, Real, Boolean, Date, Data, Array, Dictionary };

std::optional<Kind> kindOfFlag(const QString &flag)
{
    static const struct {
        const char16_t *flag;
        Kind kind;
    } flags[] = {
        {u"-string", Kind::String}, {u"-int", Kind::Integer},  {u"-integer", Kind::Integer}, {u"-float", Kind::Real},
        {u"-real", Kind::Real},     {u"-bool", Kind::Boolean}, {u"-boolean", Kind::Boolean}, {u"-date", Kind::Date},
        {u"-data", Kind::Data},     {u"-array", Kind::Array},  {u"-dict", Kind::Dictionary},
    };
    for (const auto &entry : flags) {
        if (flag == QStringView(entry.flag))
            return entry.kind;
    }
    return std::nullopt;
}

bool isScalar(Kind kind)
{
    return kind != Kind::Array && kind != Kind::Dictionary;
}

std::optional<QDateTime> dateFromText(const QString &text)
{
    // The form `read` prints: "2024-05-01 09:30:00 +0000".
    static const QRegularExpression printed(
        QStringLiteral("^(\\d{4}-\\d{2}-\\d{2}) (\\d{2}:\\d{2}:\\d{2}) ([+-])(\\d{2})(\\d{2})$"));
    const QRegularExpressionMatch match = printed.match(text.trimmed());
    if (match.hasMatch()) {
        const QDateTime local = QDateTime::fromString(match.captured(1) + u'T' + match.captured(2), Qt::ISODate);
        const int offset = (match.captured(4).toInt() * 3600 + match.captured(5).toInt() * 60)
            * (match.captured(3) == QStringLiteral("-") ? -1 : 1);
        QDateTime date(local.date(), local.time(), QTimeZone(offset));
        if (date.isValid())
            return date;
    }
    // ISO 8601, with "Z" or an offset; without a zone, local time.
    const QDateTime iso = QDateTime::fromString(text.trimmed(), Qt::ISODateWithMs);
    if (iso.isValid())
        return iso;
    return std::nullopt;
}

std::optional<QByteArray> dataFromHex(QString text)
{
    text.remove(QRegularExpression(QStringLiteral("\\s")));
    if (text.startsWith(u'<') && text.endsWith(u'>'))
        text = text.mid(1, text.size() - 2);
    static const QRegularExpression hex(QStringLiteral("^([0-9A-Fa-f]{2})*$"));
    if (!hex.match(text).hasMatch())
        return std::nullopt;
    return QByteArray::fromHex(text.toLatin1());
}

VXValue scalarValue(Kind kind, const QString &text, QString *error)
{
    bool ok = false;
    switch (kind) {
    case Kind::String: return VXValue(text);
    case Kind::Integer: {
        const qlonglong integer = text.trimmed().toLongLong(&ok, 10);
        if (ok)
            return VXValue(integer);
        const qulonglong big = text.trimmed().toULongLong(&ok, 10);
        if (ok)
            return VXValue::unsignedInteger(big);
        *error = Text::tr("\"%1\" is not an integer").arg(text);
        return VXValue();
    }
    case Kind::Real: {
        const double real = text.trimmed().toDouble(&ok);
        if (ok)
            return VXValue(real);
        *error = Text::tr("\"%1\" is not a number").arg(text);
        return VXValue();
    }
    case Kind::Boolean: {
        const QString word = text.trimmed().toLower();
        if (word == QStringLiteral("yes") || word == QStringLiteral("true") || word == QStringLiteral("1"))
            return VXValue(true);
        if (word == QStringLiteral("no") || word == QStringLiteral("false") || word == QStringLiteral("0"))
            return VXValue(false);
        *error = Text::tr("\"%1\" is not a boolean (YES, NO, true, false, 1 or 0)").arg(text);
        return VXValue();
    }
    case Kind::Date: {
        if (const std::optional<QDateTime> date = dateFromText(text))
            return VXValue::dateFromUnixTime(double(date->toMSecsSinceEpoch()) / 1000.0);
        *error = Text::tr("\"%1\" is not a date (2024-05-01T09:30:00Z or 2024-05-01 09:30:00 +0000)").arg(text);
        return VXValue();
    }
    case Kind::Data: {
        if (const std::optional<QByteArray> data = dataFromHex(text))
            return VXValue(*data);
        *error = Text::tr("\"%1\" is not hexadecimal data (pairs of 0-9, a-f)").arg(text);
        return VXValue();
    }
    case Kind::Array:
    case Kind::Dictionary: break;
    }
    return VXValue();
}

// One element of -array or one value of -dict at `index`: an optional scalar type flag, then the
// text. Advances `index` past what it used.
VXValue elementValue(const QStringList &arguments, qsizetype &index, QString *error)
{
    Kind kind = Kind::String;
    if (const std::optional<Kind> flagged = kindOfFlag(arguments.at(index))) {
        if (!isScalar(*flagged)) {
            *error = Text::tr("%1 cannot be nested; write the value as an old-style property list instead")
                         .arg(arguments.at(index));
            return VXValue();
        }
        kind = *flagged;
        if (++index >= arguments.size()) {
            *error = Text::tr("%1 needs a value").arg(arguments.at(index - 1));
            return VXValue();
        }
    }
    return scalarValue(kind, arguments.at(index++), error);
}

// Old-style text has only strings as leaves: those that spell numbers become numbers. The
// patterns end in \z, the end of the text ($ would also match before a final line break).
VXValue withNumbers(const VXValue &value)
{
    static const QRegularExpression integer(QStringLiteral("^[+-]?[0-9]+\\z"));
    static const QRegularExpression real(QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?\\z"));
    if (value.isString()) {
        const QString &text = value.stringRef();
        bool ok = false;
        if (integer.match(text).hasMatch()) {
            const qlonglong number = text.toLongLong(&ok, 10);
            if (ok)
                return VXValue(number);
        }
        if (real.match(text).hasMatch()) {
            const double number = text.toDouble(&ok);
            if (ok)
                return VXValue(number);
        }
        return value;
    }
    if (VXArray *array = value.array()) {
        for (VXValue &element : array->items())
            element = withNumbers(element);
    } else if (VXDictionary *dictionary = value.dictionary()) {
        for (std::size_t i = 0; i < dictionary->size(); ++i)
            dictionary->valueAt(i) = withNumbers(dictionary->valueAt(i));
    }
    return value;
}

QString dateText(const VXValue &value)
{
    const auto milliseconds = static_cast<qint64>(std::llround(value.dateAsUnixTime() * 1000.0));
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss +0000"));
}

QString numberText(const VXValue &value)
{
    switch (value.type()) {
    case VXValue::Type::Boolean: return value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case VXValue::Type::Integer:
        return value.isUnsignedInteger() ? QString::number(static_cast<quint64>(value.integerBits()))
                                         : QString::number(value.integerBits());
    default: return QString::number(value.realValue(), 'g', QLocale::FloatingPointShortest);
    }
}

// A string as old-style text: bare when that reads back as the same string, quoted otherwise.
QString quotedText(const QString &text)
{
    static const QRegularExpression bare(QStringLiteral("^[A-Za-z0-9_$+/:.-]+\\z"));
    static const QRegularExpression number(QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?\\z"));
    if (bare.match(text).hasMatch() && !number.match(text).hasMatch())
        return text;
    QString quoted = QStringLiteral("\"");
    for (const QChar c : text) {
        switch (c.unicode()) {
        case u'"': quoted += QStringLiteral("\\\""); break;
        case u'\\': quoted += QStringLiteral("\\\\"); break;
        case u'\n': quoted += QStringLiteral("\\n"); break;
        case u'\t': quoted += QStringLiteral("\\t"); break;
        case u'\r': quoted += QStringLiteral("\\r"); break;
        default:
            if (c.unicode() < 0x20)
                quoted += QStringLiteral("\\U%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            else
                quoted += c;
        }
    }
    return quoted + u'"';
}

// How `read KEY` shows a single value: plain values as they are, containers as old-style text.
QString plainText(const VXValue &value)
{
    switch (value.type()) {
    case VXValue::Type::String: return value.stringRef();
    case VXValue::Type::Date: return dateText(value);
    case VXValue::Type::Array:
    case VXValue::Type::Dictionary:
    case VXValue::Type::Data: return VXDefaultsCommand::propertyListText(value);
    default: return numberText(value);
    }
}

QString missingPairText(const QString &key)
{
    return Text::tr("The domain/default pair of (%1, %2) does not exist").arg(VXUserDefaults::kDomain, key);
}

int usageError(QTextStream &err, const QString &message)
{
    err << "wendle defaults: " << message << '\n' << Text::tr("Run 'wendle defaults --help' for its usage.") << '\n';
    err.flush();
    return VXDefaultsCommand::UsageError;
}

// Every setting as the program sees it: the stored ones over the registered defaults.
VXDictionaryRef effectiveSettings(const VXUserDefaults &defaults)
{
    VXDictionaryRef settings = VXRegisteredDefaults();
    const VXDictionaryRef stored = defaults.persistentDictionary();   // held: the loop must not outlive it
    for (const VXDictionary::Entry &entry : *stored)
        settings->insert(entry.key, entry.value);
    return settings;
}

}   // namespace

QString VXDefaultsCommand::usage()
{
    return Text::tr("Usage: wendle defaults read [KEY | --all]\n"
                    "       wendle defaults write KEY VALUE\n"
                    "       wendle defaults write KEY -TYPE VALUE...\n"
                    "       wendle defaults delete KEY\n"
                    "\n"
                    "Reads and changes Wendle's settings: the domain %1, kept in\n"
                    "$XDG_CONFIG_HOME/Wendle/%1.plist\n"
                    "(~/.config/Wendle when XDG_CONFIG_HOME is not set). A running Wendle takes\n"
                    "changes in at once.\n"
                    "\n"
                    "  read             prints every stored setting as an old-style property list\n"
                    "  read --all       prints every setting as Wendle sees it: the stored ones and the\n"
                    "                   defaults of those not stored\n"
                    "  read KEY         prints one stored setting: text, numbers (booleans as 1 or 0) and\n"
                    "                   dates as they are, arrays, dictionaries and data as old-style text;\n"
                    "                   registered defaults are not shown\n"
                    "  write KEY VALUE  a VALUE that starts with \"(\" or \"{\" is read as an old-style\n"
                    "                   property list, in which every element that spells a number becomes\n"
                    "                   a number (use -array or -dict with -string to keep such text);\n"
                    "                   any other VALUE is stored as text\n"
                    "  delete KEY       removes one setting\n"
                    "\n"
                    "Types for write:\n"
                    "  -string TEXT\n"
                    "  -int, -integer NUMBER\n"
                    "  -float, -real NUMBER\n"
                    "  -bool, -boolean YES|NO|true|false|1|0\n"
                    "  -date DATE            2024-05-01T09:30:00Z, 2024-05-01T11:30:00+02:00 (no zone:\n"
                    "                        local time) or 2024-05-01 09:30:00 +0000\n"
                    "  -data HEX             0a1b2c\n"
                    "  -array [-TYPE] VALUE...          elements are text unless a type flag precedes them\n"
                    "  -dict KEY [-TYPE] VALUE...       likewise for the values\n"
                    "\n"
                    "Example: wendle defaults write \"Pie Color Components\" \"(0.2, 0.4, 0.6)\"\n")
        .arg(VXUserDefaults::kDomain);
}

VXValue VXDefaultsCommand::valueFromArguments(const QStringList &arguments, QString *error)
{
    QString ignored;
    if (!error)
        error = &ignored;
    if (arguments.isEmpty()) {
        *error = Text::tr("write needs a KEY and a VALUE");
        return VXValue();
    }
    const QString &first = arguments.first();
    const std::optional<Kind> kind = kindOfFlag(first);
    if (!kind) {
        if (arguments.size() > 1) {
            *error = Text::tr("write takes one VALUE after KEY (or a type flag and its values)");
            return VXValue();
        }
        if (first.startsWith(u'(') || first.startsWith(u'{')) {
            const VXValue parsed = VXPropertyListSerialization::valueFromOpenStepData(first.toUtf8());
            if (parsed.isNull()) {
                *error = Text::tr("cannot read \"%1\" as an old-style property list").arg(first);
                return VXValue();
            }
            return withNumbers(parsed);
        }
        return VXValue(first);
    }

    if (isScalar(*kind)) {
        if (arguments.size() != 2) {
            *error = Text::tr("%1 takes exactly one value").arg(first);
            return VXValue();
        }
        return scalarValue(*kind, arguments.at(1), error);
    }

    qsizetype index = 1;
    if (*kind == Kind::Array) {
        VXArrayRef array = VXMakeArray();
        while (index < arguments.size()) {
            const VXValue element = elementValue(arguments, index, error);
            if (element.isNull())
                return VXValue();
            array->append(element);
        }
        return VXValue(array);
    }
    VXDictionaryRef dictionary = VXMakeDictionary();
    while (index < arguments.size()) {
        const QString key = arguments.at(index++);
        if (index >= arguments.size()) {
            *error = Text::tr("-dict needs a value for the key \"%1\"").arg(key);
            return VXValue();
        }
        const VXValue element = elementValue(arguments, index, error);
        if (element.isNull())
            return VXValue();
        dictionary->insert(key, element);
    }
    return VXValue(dictionary);
}

QString VXDefaultsCommand::propertyListText(const VXValue &value, int indent)
{
    const QString inner(indent + 4, u' ');
    const QString outer(indent, u' ');
    switch (value.type()) {
    case VXValue::Type::Dictionary: {
        const VXDictionary &dictionary = *value.dictionary();
        if (dictionary.isEmpty())
            return QStringLiteral("{\n") + outer + u'}';
        QString text = QStringLiteral("{\n");
        for (const std::size_t i : dictionary.sortedEntryIndexes()) {
            const VXDictionary::Entry &entry = dictionary.entries()[i];
            text += inner + quotedText(entry.key) + QStringLiteral(" = ") + propertyListText(entry.value, indent + 4)
                + QStringLiteral(";\n");
        }
        return text + outer + u'}';
    }
    case VXValue::Type::Array: {
        const VXArray &array = *value.array();
        if (array.isEmpty())
            return QStringLiteral("(\n") + outer + u')';
        QStringList elements;
        for (const VXValue &element : array)
            elements.append(inner + propertyListText(element, indent + 4));
        return QStringLiteral("(\n") + elements.join(QStringLiteral(",\n")) + u'\n' + outer + u')';
    }
    case VXValue::Type::String: return quotedText(value.stringRef());
    case VXValue::Type::Date: return quotedText(dateText(value));
    case VXValue::Type::Data: return u'<' + QString::fromLatin1(value.dataRef().toHex()) + u'>';
    case VXValue::Type::Null: return QString();
    default: return numberText(value);
    }
}

int VXDefaultsCommand::run(const QStringList &arguments, QTextStream &out, QTextStream &err, const QString &folder)
{
    if (arguments.isEmpty())
        return usageError(err, Text::tr("a command is needed: read, write or delete"));
    const QString &command = arguments.first();
    if (std::find(std::begin(kHelpOptions), std::end(kHelpOptions), command) != std::end(kHelpOptions)) {
        out << usage();
        return Success;
    }

    if (command == kRead) {
        if (arguments.size() > 2)
            return usageError(err, Text::tr("read takes at most one KEY"));
        VXUserDefaults defaults(VXUserDefaults::kDomain, folder, nullptr, VXUserDefaults::Watching::None);
        if (arguments.size() == 2 && arguments.at(1) == kAll) {
            out << propertyListText(VXValue(effectiveSettings(defaults))) << '\n';
            return Success;
        }
        if (arguments.size() == 1) {
            if (!QFileInfo::exists(defaults.filePath())) {
                err << Text::tr("No settings have been changed yet: Wendle uses its defaults (wendle defaults "
                                "read --all lists them).")
                    << '\n';
                return Success;
            }
            out << propertyListText(VXValue(defaults.persistentDictionary())) << '\n';
            return Success;
        }
        const QString &key = arguments.at(1);
        const VXValue value = defaults.persistentObjectForKey(key);
        if (value.isNull()) {
            err << missingPairText(key) << '\n';
            const VXDictionaryRef registered = VXRegisteredDefaults();
            if (registered->contains(key))
                err << Text::tr("It is not set; Wendle uses its default: %1").arg(plainText(registered->value(key)))
                    << '\n';
            return Failure;
        }
        out << plainText(value) << '\n';
        return Success;
    }

    if (command == kWrite) {
        if (arguments.size() < 3)
            return usageError(err, Text::tr("write needs a KEY and a VALUE"));
        QString error;
        const VXValue value = valueFromArguments(arguments.mid(2), &error);
        if (value.isNull())
            return usageError(err, error);
        VXUserDefaults defaults(VXUserDefaults::kDomain, folder, nullptr, VXUserDefaults::Watching::None);
        defaults.setObject(value, arguments.at(1));
        if (!defaults.synchronize()) {
            err << "wendle defaults: " << Text::tr("cannot write %1").arg(defaults.filePath()) << '\n';
            return Failure;
        }
        return Success;
    }

    if (command == kDelete) {
        if (arguments.size() != 2)
            return usageError(err, Text::tr("delete takes exactly one KEY"));
        const QString &key = arguments.at(1);
        VXUserDefaults defaults(VXUserDefaults::kDomain, folder, nullptr, VXUserDefaults::Watching::None);
        if (defaults.persistentObjectForKey(key).isNull()) {
            err << Text::tr("Domain (%1, %2) not found.\nDefaults have not been changed.")
                       .arg(VXUserDefaults::kDomain, key)
                << '\n';
            return Failure;
        }
        defaults.removeObjectForKey(key);
        if (!defaults.synchronize()) {
            err << "wendle defaults: " << Text::tr("cannot write %1").arg(defaults.filePath()) << '\n';
            return Failure;
        }
        return Success;
    }

    return usageError(err, Text::tr("unknown command \"%1\"").arg(command));
}
