#include "VXScenario.h"

#include "VXActivitySampler.h"
#include "VXExporter.h"
#include "VXRegisteredDefaults.h"
#include "VXResets.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>
#include <QSet>

#include <cmath>
#include <limits>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXScenario", text);
}

// Scenario times are multiples of 1/8 second: such sums and differences are exact in a double
// for any realistic Unix time.
bool isOnGrid(double seconds)
{
    if (!std::isfinite(seconds))
        return false;
    const double eighths = seconds * 8.0;
    return eighths == std::floor(eighths);
}

VXValue valueFromJson(const QJsonValue &json)
{
    switch (json.type()) {
    case QJsonValue::Bool: return VXValue(json.toBool());
    case QJsonValue::Double: {
        // Integers in the text stay integers (600 is an integer setting, 600.5 a real one).
        const QVariant variant = json.toVariant();
        if (variant.typeId() == QMetaType::LongLong || variant.typeId() == QMetaType::Int)
            return VXValue(std::int64_t(variant.toLongLong()));
        return VXValue(json.toDouble());
    }
    case QJsonValue::String: return VXValue(json.toString());
    case QJsonValue::Array: {
        const QJsonArray array = json.toArray();
        VXArrayRef result = VXMakeArray();
        result->reserve(array.size());
        for (const QJsonValue &element : array)
            result->append(valueFromJson(element));
        return VXValue(result);
    }
    case QJsonValue::Object: {
        const QJsonObject object = json.toObject();
        VXDictionaryRef result = VXMakeDictionary();
        for (auto it = object.begin(); it != object.end(); ++it)
            result->insert(it.key(), valueFromJson(it.value()));
        return VXValue(result);
    }
    case QJsonValue::Null:
    case QJsonValue::Undefined: break;
    }
    return VXValue();
}

const QHash<QString, VXScenarioEventType> &eventTypes()
{
    static const QHash<QString, VXScenarioEventType> types {
        {QStringLiteral("input"), VXScenarioEventType::Input},
        {QStringLiteral("sleep"), VXScenarioEventType::Sleep},
        {QStringLiteral("wake"), VXScenarioEventType::Wake},
        {QStringLiteral("sessionResign"), VXScenarioEventType::SessionResign},
        {QStringLiteral("sessionActive"), VXScenarioEventType::SessionActive},
        {QStringLiteral("lock"), VXScenarioEventType::Lock},
        {QStringLiteral("unlock"), VXScenarioEventType::Unlock},
        {QStringLiteral("suspendAutomatic"), VXScenarioEventType::SuspendAutomatic},
        {QStringLiteral("suspendManual"), VXScenarioEventType::SuspendManual},
        {QStringLiteral("wakeUp"), VXScenarioEventType::WakeUp},
        {QStringLiteral("resetApplicationTimers"), VXScenarioEventType::ResetApplicationTimers},
        {QStringLiteral("resetPoolTimers"), VXScenarioEventType::ResetPoolTimers},
        {QStringLiteral("resetAllTimers"), VXScenarioEventType::ResetAllTimers},
        {QStringLiteral("clearApplications"), VXScenarioEventType::ClearApplications},
        {QStringLiteral("clearPools"), VXScenarioEventType::ClearPools},
        {QStringLiteral("clearAll"), VXScenarioEventType::ClearAll},
        {QStringLiteral("undo"), VXScenarioEventType::Undo},
        {QStringLiteral("redo"), VXScenarioEventType::Redo},
        {QStringLiteral("forceTick"), VXScenarioEventType::ForceTick},
        {QStringLiteral("setDefault"), VXScenarioEventType::SetDefault},
        {QStringLiteral("crash"), VXScenarioEventType::Crash},
    };
    return types;
}

// Reads one scenario, remembering the first fault with the path of its field.
class Reader
{
    // Its messages are the scenario's (one context for translators).
    Q_DECLARE_TR_FUNCTIONS(VXScenario)

public:
    QString error;

private:
    QSet<QString> m_texts;

public:
    bool fail(const QString &field, const QString &reason)
    {
        if (error.isEmpty())
            error = QStringLiteral("%1: %2").arg(field, reason);
        return false;
    }

    // Every key of `object` must be one of `known`.
    bool onlyKnownKeys(const QJsonObject &object, const QString &field, std::initializer_list<const char *> known)
    {
        for (auto it = object.begin(); it != object.end(); ++it) {
            bool found = false;
            for (const char *name : known)
                found = found || it.key() == QLatin1StringView(name);
            if (!found)
                return fail(join(field, it.key()), tr("unknown field"));
        }
        return true;
    }

    static QString join(const QString &field, const QString &key) { return field.isEmpty() ? key : field + u'.' + key; }

    static QString index(const QString &field, qsizetype i)
    {
        return QStringLiteral("%1[%2]").arg(field, QString::number(i));
    }

    bool number(const QJsonObject &object, const QString &field, const char *key, bool required, double *out)
    {
        const QJsonValue value = object.value(QLatin1StringView(key));
        const QString path = join(field, QLatin1StringView(key));
        if (value.isUndefined())
            return !required || fail(path, tr("missing"));
        if (!value.isDouble())
            return fail(path, tr("must be a number"));
        *out = value.toDouble();
        return true;
    }

    // Seconds after the start: on the 1/8-second grid, not negative, not after the end.
    bool offset(const QJsonObject &object, const QString &field, double end, double *out)
    {
        if (!number(object, field, "at", true, out))
            return false;
        const QString path = join(field, QStringLiteral("at"));
        if (!isOnGrid(*out))
            return fail(path, tr("must be a multiple of 1/8 second"));
        if (*out < 0)
            return fail(path, tr("must not be negative"));
        if (*out > end)
            return fail(path, tr("is after \"end\""));
        return true;
    }

    bool integer(const QJsonObject &object, const QString &field, const char *key, bool required, std::int64_t *out)
    {
        double value = 0;
        if (!number(object, field, key, required, &value))
            return false;
        if (!object.contains(QLatin1StringView(key)))
            return true;
        if (value != std::floor(value) || std::fabs(value) > 9.0e15)
            return fail(join(field, QLatin1StringView(key)), tr("must be an integer"));
        *out = std::int64_t(value);
        return true;
    }

    bool boolean(const QJsonObject &object, const QString &field, const char *key, bool *out)
    {
        const QJsonValue value = object.value(QLatin1StringView(key));
        if (value.isUndefined())
            return true;
        if (!value.isBool())
            return fail(join(field, QLatin1StringView(key)), tr("must be true or false"));
        *out = value.toBool();
        return true;
    }

    // A text, or (when `nullable`) null for none.
    bool text(const QJsonObject &object, const QString &field, const char *key, bool required, bool nullable,
              QString *out)
    {
        const QJsonValue value = object.value(QLatin1StringView(key));
        const QString path = join(field, QLatin1StringView(key));
        if (value.isUndefined())
            return !required || fail(path, tr("missing"));
        if (value.isNull() && nullable) {
            out->clear();
            return true;
        }
        if (!value.isString())
            return fail(path, nullable ? tr("must be a text or null") : tr("must be a text"));
        *out = intern(value.toString());
        return true;
    }

    // Desktop states repeat the same names, paths and titles thousands of times over a long
    // scenario: they share one copy of each.
    QString intern(const QString &text)
    {
        const auto found = m_texts.constFind(text);
        if (found != m_texts.constEnd())
            return *found;
        m_texts.insert(text);
        return text;
    }

    bool updateInterval(const VXValue &value, const QString &path)
    {
        if (value.isNull())
            return true;
        if (!value.isNumber())
            return fail(path, tr("must be a number"));
        const double seconds = value.toDouble();
        if (seconds > VXMinimumUpdateInterval && !isOnGrid(seconds))
            return fail(path, tr("must be a multiple of 1/8 second"));
        return true;
    }

    bool application(const QJsonValue &json, const QString &field, VXRunningApplication *out)
    {
        if (!json.isObject())
            return fail(field, tr("must be an object"));
        const QJsonObject object = json.toObject();
        if (!onlyKnownKeys(object, field, {"name", "identifier", "path", "pid", "regular"}))
            return false;
        bool regular = true;
        if (!text(object, field, "name", true, false, &out->localizedName)
            || !text(object, field, "identifier", false, false, &out->bundleIdentifier)
            || !text(object, field, "path", true, true, &out->bundlePath)
            || !integer(object, field, "pid", true, &out->processIdentifier)
            || !boolean(object, field, "regular", &regular))
            return false;
        out->activationPolicy = regular ? VXActivationPolicy::Regular : VXActivationPolicy::Accessory;
        return true;
    }

    bool window(const QJsonValue &json, const QString &field, VXWindowListEntry *out)
    {
        if (!json.isObject())
            return fail(field, tr("must be an object"));
        const QJsonObject object = json.toObject();
        if (!onlyKnownKeys(object, field, {"pid", "title", "number", "layer", "onScreen", "orderedIn"}))
            return false;
        std::int64_t number = std::int64_t(out->number);
        std::int64_t layer = 0;
        if (!integer(object, field, "pid", true, &out->ownerPID)
            || !text(object, field, "title", false, false, &out->title)
            || !integer(object, field, "number", false, &number) || !integer(object, field, "layer", false, &layer)
            || !boolean(object, field, "onScreen", &out->onScreen)
            || !boolean(object, field, "orderedIn", &out->orderedIn))
            return false;
        if (number < 0)
            return fail(join(field, QStringLiteral("number")), tr("must not be negative"));
        if (layer < std::numeric_limits<int>::min() || layer > std::numeric_limits<int>::max())
            return fail(join(field, QStringLiteral("layer")), tr("is out of range"));
        out->number = std::uint64_t(number);
        out->layer = int(layer);
        return true;
    }

    bool desktopState(const QJsonValue &json, const QString &field, double end, VXScenarioDesktopState *out)
    {
        if (!json.isObject())
            return fail(field, tr("must be an object"));
        const QJsonObject object = json.toObject();
        if (!onlyKnownKeys(object, field, {"at", "applications", "front", "windows"})
            || !offset(object, field, end, &out->at)
            || !text(object, field, "front", false, true, &out->desktop.frontmostApplicationPath))
            return false;
        const QJsonValue applications = object.value(QStringLiteral("applications"));
        if (!applications.isUndefined() && !applications.isArray())
            return fail(join(field, QStringLiteral("applications")), tr("must be a list"));
        const QJsonArray applicationList = applications.toArray();
        out->desktop.runningApplications.resize(applicationList.size());
        for (qsizetype i = 0; i < applicationList.size(); ++i)
            if (!application(applicationList.at(i), index(join(field, QStringLiteral("applications")), i),
                             &out->desktop.runningApplications[i]))
                return false;
        const QJsonValue windows = object.value(QStringLiteral("windows"));
        if (!windows.isUndefined() && !windows.isArray())
            return fail(join(field, QStringLiteral("windows")), tr("must be a list"));
        const QJsonArray windowList = windows.toArray();
        out->desktop.windows.resize(windowList.size());
        for (qsizetype i = 0; i < windowList.size(); ++i) {
            // Windows without a number get one of their own, unique within the state.
            out->desktop.windows[i].number = std::uint64_t(0x7000000 + i);
            if (!window(windowList.at(i), index(join(field, QStringLiteral("windows")), i), &out->desktop.windows[i]))
                return false;
        }
        return true;
    }

    bool event(const QJsonValue &json, const QString &field, double end, VXScenarioEvent *out)
    {
        if (!json.isObject())
            return fail(field, tr("must be an object"));
        const QJsonObject object = json.toObject();
        if (!onlyKnownKeys(object, field, {"at", "type", "key", "value"}) || !offset(object, field, end, &out->at))
            return false;
        QString type;
        if (!text(object, field, "type", true, false, &type))
            return false;
        const auto found = eventTypes().constFind(type);
        if (found == eventTypes().constEnd())
            return fail(join(field, QStringLiteral("type")), tr("unknown event type \"%1\"").arg(type));
        out->type = *found;
        if (out->type != VXScenarioEventType::SetDefault) {
            for (const char *key : {"key", "value"})
                if (object.contains(QLatin1StringView(key)))
                    return fail(join(field, QLatin1StringView(key)), tr("belongs to setDefault events only"));
            return true;
        }
        if (!text(object, field, "key", true, false, &out->key))
            return false;
        if (!VXScenario::settableKeys().contains(out->key))
            return fail(join(field, QStringLiteral("key")),
                        tr("\"%1\" cannot be set during a simulation").arg(out->key));
        if (!object.contains(QStringLiteral("value")))
            return fail(join(field, QStringLiteral("value")), tr("missing"));
        out->value = valueFromJson(object.value(QStringLiteral("value")));
        const QString valuePath = join(field, QStringLiteral("value"));
        if (out->value.isNull())
            return true;
        if (out->key == VXUpdateIntervalKey)
            return updateInterval(out->value, valuePath);
        if (out->key == VXDefaultsKey::kHibernationInterval)
            return out->value.isInteger() || fail(valuePath, tr("must be an integer"));
        return out->value.isBoolean() || fail(valuePath, tr("must be true or false"));
    }
};

}   // namespace

const QStringList &VXScenario::settableKeys()
{
    static const QStringList keys {VXUpdateIntervalKey,
                                   VXDefaultsKey::kHibernationInterval,
                                   VXShowInactiveApplicationItemsKey,
                                   VXDefaultsKey::kShowInactivePools,
                                   VXDefaultsKey::kIncludeWindowsFromAllSpaces,
                                   VXIncludeFloatingWindowsKey,
                                   VXQualifiedBlacklistEatsFrontmostWindowKey};
    return keys;
}

const QStringList &VXScenario::refusedDefaultsKeys()
{
    static const QStringList keys {VXAutoResetApplicationsKey, VXAutoResetPoolsKey,
                                   VXAutoExportKey::kAutoExportReports};
    return keys;
}

std::optional<VXScenario> VXScenario::fromJson(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    Reader reader;
    auto refuse = [&]() -> std::optional<VXScenario> {
        if (error)
            *error = reader.error;
        return std::nullopt;
    };
    if (parseError.error != QJsonParseError::NoError) {
        reader.fail(tr("scenario"),
                    tr("not JSON (%1 at byte %2)").arg(parseError.errorString(), QString::number(parseError.offset)));
        return refuse();
    }
    if (!document.isObject()) {
        reader.fail(tr("scenario"), tr("must be an object"));
        return refuse();
    }
    const QJsonObject root = document.object();
    VXScenario scenario;
    if (!reader.onlyKnownKeys(root, QString(),
                              {"start", "end", "crash", "defaults", "configuration", "desktop", "events"})
        || !reader.number(root, QString(), "start", true, &scenario.start)
        || !reader.number(root, QString(), "end", true, &scenario.end))
        return refuse();
    if (!isOnGrid(scenario.start))
        return reader.fail(QStringLiteral("start"), tr("must be a multiple of 1/8 second")), refuse();
    if (!isOnGrid(scenario.end))
        return reader.fail(QStringLiteral("end"), tr("must be a multiple of 1/8 second")), refuse();
    if (scenario.end < 0)
        return reader.fail(QStringLiteral("end"), tr("must not be negative")), refuse();
    const QJsonValue crash = root.value(QStringLiteral("crash"));
    if (!crash.isUndefined() && !crash.isBool())
        return reader.fail(QStringLiteral("crash"), tr("must be true or false")), refuse();
    scenario.crash = crash.toBool();

    const QJsonValue defaults = root.value(QStringLiteral("defaults"));
    if (!defaults.isUndefined() && !defaults.isObject())
        return reader.fail(QStringLiteral("defaults"), tr("must be an object")), refuse();
    scenario.defaults = valueFromJson(defaults.isObject() ? defaults : QJsonValue(QJsonObject())).dictionaryRef();
    for (const QString &key : refusedDefaultsKeys())
        if (scenario.defaults->contains(key))
            return reader.fail(Reader::join(QStringLiteral("defaults"), key),
                               tr("daily tasks do not run in a simulation")),
                   refuse();
    if (!reader.updateInterval(scenario.defaults->value(VXUpdateIntervalKey),
                               Reader::join(QStringLiteral("defaults"), VXUpdateIntervalKey)))
        return refuse();

    const QJsonValue configuration = root.value(QStringLiteral("configuration"));
    if (!configuration.isUndefined() && !configuration.isNull()) {
        if (!configuration.isObject())
            return reader.fail(QStringLiteral("configuration"), tr("must be an object")), refuse();
        scenario.configuration = valueFromJson(configuration).dictionaryRef();
    }

    const QJsonValue desktop = root.value(QStringLiteral("desktop"));
    if (!desktop.isUndefined() && !desktop.isArray())
        return reader.fail(QStringLiteral("desktop"), tr("must be a list")), refuse();
    const QJsonArray states = desktop.toArray();
    scenario.desktop.resize(states.size());
    for (qsizetype i = 0; i < states.size(); ++i) {
        const QString field = Reader::index(QStringLiteral("desktop"), i);
        if (!reader.desktopState(states.at(i), field, scenario.end, &scenario.desktop[i]))
            return refuse();
        if (i > 0 && scenario.desktop[i].at <= scenario.desktop[i - 1].at)
            return reader.fail(Reader::join(field, QStringLiteral("at")), tr("must be later than the state before")),
                   refuse();
    }

    const QJsonValue events = root.value(QStringLiteral("events"));
    if (!events.isUndefined() && !events.isArray())
        return reader.fail(QStringLiteral("events"), tr("must be a list")), refuse();
    const QJsonArray eventList = events.toArray();
    scenario.events.resize(eventList.size());
    for (qsizetype i = 0; i < eventList.size(); ++i) {
        const QString field = Reader::index(QStringLiteral("events"), i);
        if (!reader.event(eventList.at(i), field, scenario.end, &scenario.events[i]))
            return refuse();
        if (i > 0 && scenario.events[i].at < scenario.events[i - 1].at)
            return reader.fail(Reader::join(field, QStringLiteral("at")),
                               tr("must not be earlier than the event before")),
                   refuse();
    }
    return scenario;
}
