#include "VXKWinScriptDesktop.h"

#include "VXSessionBus.h"
#include "VXWaylandLogging.h"
#include "VXWindowTitles.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVirtualObject>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTimer>

const QString VXKWinScriptDesktop::kServiceName = QStringLiteral("com.brasswing.Wendle");
const QString VXKWinScriptDesktop::kObjectPath = QStringLiteral("/com/brasswing/Wendle/KWin");
const QString VXKWinScriptDesktop::kInterface = QStringLiteral("com.brasswing.Wendle.KWin");
const QString VXKWinScriptDesktop::kPluginName = QStringLiteral("wendle-tracker");

namespace {

const QString kKWinService = QStringLiteral("org.kde.KWin");
const QString kScriptingPath = QStringLiteral("/Scripting");
const QString kScriptingInterface = QStringLiteral("org.kde.kwin.Scripting");
const QString kTrackerScript = QStringLiteral(":/wendle/kwin/wendle-tracker.js");
const QString kActionScript = QStringLiteral(":/wendle/kwin/wendle-action.js");
// How long the script has to report after it was started before Wendle says it does not work.
constexpr int kScriptReportMs = 5000;
// How long an action script may take before it is unloaded anyway.
constexpr int kActionMs = 5000;
// KWin takes its name on the bus a moment before its scripting is there (at login Wendle may be
// that quick): a script refused or silent is loaded again, this many times, a second apart.
constexpr int kLoadAttempts = 5;
constexpr int kLoadRetryMs = 1000;

QDBusMessage scriptingCall(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(kKWinService, kScriptingPath, kScriptingInterface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return message;
}

// Where the scripts are written for KWin to read: the session's runtime folder.
QString scriptFolder()
{
    QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (runtime.isEmpty())
        runtime = QDir::tempPath();
    return runtime + QStringLiteral("/wendle");
}

QString writeScript(const QString &name, const QByteArray &text, QString *whyNot)
{
    const QString folder = scriptFolder();
    if (!QDir().mkpath(folder)) {
        *whyNot = QStringLiteral("cannot make the folder <%1>").arg(folder);
        return QString();
    }
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    const QString path = folder + QLatin1Char('/') + name;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        *whyNot = QStringLiteral("cannot write <%1>").arg(path);
        return QString();
    }
    return path;
}

}   // namespace

// The object the script calls: it takes any argument types, since the script's numbers may
// arrive as integers or as doubles.
class VXKWinScriptDesktop::Receiver final : public QDBusVirtualObject
{
public:
    explicit Receiver(VXKWinScriptDesktop *owner) : m_owner(owner) { }
    QString introspect(const QString &) const override { return QString(); }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    VXKWinScriptDesktop *m_owner;
};

struct VXKWinScriptDesktop::Private {
    QDBusConnection bus;
    QString connectionName;
    std::unique_ptr<Receiver> receiver;
    QString kwinOwner;   // the unique name of KWin on the bus, empty while it is not there
    QString scriptPath;
    bool scriptReported = false;
    bool everReported = false;
    QString problem;   // why the script does not work, for the user
    QTimer reportTimer;
    int loadAttempts = 0;
    QHash<QString, Id> ids;   // the script's window ids -> the mirror's
    Id nextId = 1;
    int nextToken = 1;
    QHash<QString, QString> pendingActions;   // token -> plug-in name of the action script

    explicit Private(QDBusConnection b) : bus(std::move(b)), connectionName(bus.name()) { }

    Id idFor(const QString &scriptId)
    {
        const auto found = ids.constFind(scriptId);
        if (found != ids.cend())
            return *found;
        const Id id = nextId++;
        ids.insert(scriptId, id);
        return id;
    }
};

bool VXKWinScriptDesktop::Receiver::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    Private &d = *m_owner->d;
    if (message.interface() != kInterface || message.type() != QDBusMessage::MethodCallMessage)
        return false;
    // Only KWin may describe the desktop.
    if (d.kwinOwner.isEmpty() || message.service() != d.kwinOwner) {
        connection.send(message.createErrorReply(QDBusError::AccessDenied, QStringLiteral("only KWin may call this")));
        return true;
    }
    const QVariantList arguments = message.arguments();
    const QString member = message.member();
    VXToplevelMirror &mirror = m_owner->mirror();
    const auto text = [&](int index) { return index < arguments.size() ? arguments[index].toString() : QString(); };
    if (member == QLatin1StringView("Reset")) {
        mirror.clear();
        d.ids.clear();
        d.reportTimer.stop();
        if (!d.scriptReported)
            qCInfo(lcWayland) << "the KWin script reports the desktop";
        d.scriptReported = d.everReported = true;
        d.problem.clear();
    } else if (member == QLatin1StringView("WindowChanged") && arguments.size() >= 6) {
        VXToplevel toplevel;
        toplevel.appId = text(1).trimmed();
        toplevel.windowClass = text(2).trimmed();
        toplevel.title = VXCleanWindowTitle(text(3));
        bool ok = false;
        const qlonglong pid = arguments[4].toLongLong(&ok);
        toplevel.pid = ok && pid > 0 && pid <= 0x7fffffff ? pid : -1;
        VXApplyToplevelFlags(toplevel, arguments[5].toUInt());
        mirror.setToplevel(d.idFor(text(0)), toplevel);
    } else if (member == QLatin1StringView("WindowActivated")) {
        const QString id = text(0);
        // KWin says "none" for a moment between two activations: the mirror waits before
        // believing it.
        mirror.setActive(id.isEmpty() ? std::nullopt : std::optional<Id>(d.idFor(id)));
    } else if (member == QLatin1StringView("WindowClosed")) {
        const auto found = d.ids.constFind(text(0));
        if (found != d.ids.cend()) {
            mirror.removeToplevel(*found);
            d.ids.erase(found);
        }
    } else if (member == QLatin1StringView("ActionDone")) {
        const QString plugin = d.pendingActions.take(text(0));
        if (!plugin.isEmpty())
            connection.send(scriptingCall(QStringLiteral("unloadScript"), {plugin}));
    } else {
        return false;
    }
    if (!message.isReplyRequired() || message.isDelayedReply())
        return true;
    connection.send(message.createReply());
    return true;
}

VXKWinScriptDesktop::VXKWinScriptDesktop(QDBusConnection bus, const VXToplevelMirror::Options &options) :
    VXToplevelDesktop(options), d(std::make_unique<Private>(std::move(bus)))
{
    d->receiver = std::make_unique<Receiver>(this);
    d->reportTimer.setSingleShot(true);
    d->reportTimer.setInterval(kScriptReportMs);
    connect(&d->reportTimer, &QTimer::timeout, this, [this] {
        scriptFailed(
            QStringLiteral("KWin did not run Wendle's script <%1>: windows are not tracked.").arg(d->scriptPath));
    });
}

VXKWinScriptDesktop::~VXKWinScriptDesktop()
{
    if (!d->kwinOwner.isEmpty()) {
        // Quitting: KWin stops calling a program that is gone.
        d->bus.call(scriptingCall(QStringLiteral("unloadScript"), {kPluginName}), QDBus::Block, 1000);
        for (const QString &action : std::as_const(d->pendingActions))
            d->bus.call(scriptingCall(QStringLiteral("unloadScript"), {action}), QDBus::Block, 1000);
    }
    d->bus.unregisterObject(kObjectPath);
    d->bus.send(QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                               QStringLiteral("/org/freedesktop/DBus"),
                                               QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ReleaseName"))
                << kServiceName);
    const QString name = d->connectionName;
    d.reset();
    QDBusConnection::disconnectFromBus(name);
}

std::unique_ptr<VXKWinScriptDesktop> VXKWinScriptDesktop::create(const VXToplevelMirror::Options &options,
                                                                 QString *whyNot)
{
    QDBusConnection bus = VXConnectSessionBus(QStringLiteral("wendle-kwin"));
    if (!bus.isConnected()) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot reach the session bus: %1").arg(bus.lastError().message());
        QDBusConnection::disconnectFromBus(bus.name());
        return nullptr;
    }
    std::unique_ptr<VXKWinScriptDesktop> desktop(new VXKWinScriptDesktop(bus, options));
    Private &d = *desktop->d;
    if (!d.bus.registerVirtualObject(kObjectPath, d.receiver.get()) || !VXRequestName(d.bus, kServiceName)) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot take the name %1 on the session bus (is another Wendle running?)")
                          .arg(kServiceName);
        return nullptr;
    }
    VXKWinScriptDesktop *self = desktop.get();
    if (!VXFollowNameOwner(
            d.bus, kKWinService, self, [self](const QString &owner) { self->kwinAppeared(owner); },
            [self] { self->kwinVanished(); }))
        qCInfo(lcWayland) << "KWin is not on the session bus yet: its script is loaded when it comes";
    return desktop;
}

QString VXKWinScriptDesktop::name() const
{
    return QStringLiteral("KWin through Wendle's KWin script");
}

QString VXKWinScriptDesktop::notice() const
{
    return d->problem;
}

bool VXKWinScriptDesktop::isConnected() const
{
    return d->bus.isConnected();
}

bool VXKWinScriptDesktop::isScriptRunning() const
{
    return d->scriptReported;
}

void VXKWinScriptDesktop::kwinAppeared(const QString &owner)
{
    if (owner == d->kwinOwner)
        return;
    if (d->everReported)
        qCInfo(lcWayland) << "KWin is back: loading its script again";
    d->kwinOwner = owner;
    d->loadAttempts = 0;
    loadScript();
}

void VXKWinScriptDesktop::scriptFailed(const QString &problem)
{
    if (++d->loadAttempts < kLoadAttempts) {
        const QString owner = d->kwinOwner;
        QTimer::singleShot(kLoadRetryMs, this, [this, owner] {
            if (owner == d->kwinOwner && !d->scriptReported)
                loadScript();
        });
        return;
    }
    d->problem = problem;
    qCWarning(lcWayland).noquote() << d->problem;
}

void VXKWinScriptDesktop::kwinVanished()
{
    if (d->kwinOwner.isEmpty())
        return;
    qCWarning(lcWayland) << "KWin left the session bus: no windows are seen until it comes back";
    d->kwinOwner.clear();
    d->scriptReported = false;
    d->reportTimer.stop();
    d->pendingActions.clear();
    d->ids.clear();
    mirror().clear();
}

void VXKWinScriptDesktop::loadScript()
{
    d->scriptReported = false;
    QString whyNot;
    d->scriptPath = writeScript(QStringLiteral("wendle-tracker.js"), resource(kTrackerScript), &whyNot);
    if (d->scriptPath.isEmpty()) {
        d->problem = QStringLiteral("Wendle cannot give KWin its script: %1.").arg(whyNot);
        qCWarning(lcWayland).noquote() << d->problem;
        return;
    }
    // A script of an earlier run (one that did not quit cleanly) goes first; then load and
    // start. The calls are queued in this order on one connection, and KWin answers them in it.
    const QString owner = d->kwinOwner;
    d->bus.send(scriptingCall(QStringLiteral("unloadScript"), {kPluginName}));
    const QDBusPendingCall loading
        = d->bus.asyncCall(scriptingCall(QStringLiteral("loadScript"), {d->scriptPath, kPluginName}));
    auto *watcher = new QDBusPendingCallWatcher(loading, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, owner](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QDBusPendingReply<int> reply = *call;
        if (owner != d->kwinOwner)
            return;   // KWin went away (or came back anew) meanwhile
        if (reply.isError() || reply.value() < 0) {
            scriptFailed(QStringLiteral("KWin refused Wendle's script <%1>: %2")
                             .arg(d->scriptPath,
                                  reply.isError() ? reply.error().message() : QStringLiteral("it is loaded already")));
            return;
        }
        d->bus.send(scriptingCall(QStringLiteral("start"), {}));
        d->reportTimer.start();
    });
}

bool VXKWinScriptDesktop::runAction(const QString &request, const std::vector<Id> &ids, QString *whyNot)
{
    const auto fail = [&](const QString &reason) {
        if (whyNot)
            *whyNot = reason;
        return false;
    };
    if (d->kwinOwner.isEmpty() || !d->scriptReported)
        return fail(notAvailableHere(QStringLiteral("Asking KWin for this")));
    QJsonArray scriptIds;
    for (auto it = d->ids.cbegin(); it != d->ids.cend(); ++it) {
        if (std::find(ids.begin(), ids.end(), it.value()) != ids.end())
            scriptIds.append(it.key());
    }
    const QString token = QString::number(d->nextToken++);
    const auto quoted = [](const QString &text) {
        return QJsonDocument(QJsonArray {text}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
    };
    QByteArray text = resource(kActionScript);
    text.replace("@IDS@", QJsonDocument(scriptIds).toJson(QJsonDocument::Compact));
    text.replace("@REQUEST@", quoted(request));
    text.replace("@TOKEN@", quoted(token));
    QString problem;
    const QString path = writeScript(QStringLiteral("wendle-action-%1.js").arg(token), text, &problem);
    if (path.isEmpty())
        return fail(problem);
    const QString plugin = QStringLiteral("wendle-action-%1").arg(token);
    d->pendingActions.insert(token, plugin);
    d->bus.send(scriptingCall(QStringLiteral("loadScript"), {path, plugin}));
    d->bus.send(scriptingCall(QStringLiteral("start"), {}));
    // Unloaded when it reports, or after a while in any case; its file goes with it.
    QTimer::singleShot(kActionMs, this, [this, token, path] {
        const QString unfinished = d->pendingActions.take(token);
        if (!unfinished.isEmpty())
            d->bus.send(scriptingCall(QStringLiteral("unloadScript"), {unfinished}));
        QFile::remove(path);
    });
    return true;
}

bool VXKWinScriptDesktop::activateToplevel(Id id, QString *whyNot)
{
    return runAction(QStringLiteral("activate"), {id}, whyNot);
}

bool VXKWinScriptDesktop::closeToplevel(Id id, QString *whyNot)
{
    return runAction(QStringLiteral("close"), {id}, whyNot);
}

bool VXKWinScriptDesktop::closeToplevels(const std::vector<Id> &ids, QString *whyNot)
{
    return runAction(QStringLiteral("close"), ids, whyNot);
}
