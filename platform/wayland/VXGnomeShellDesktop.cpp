#include "VXGnomeShellDesktop.h"

#include "VXDesktopEntry.h"
#include "VXDesktopEntryIndex.h"
#include "VXDesktopEntryLauncher.h"
#include "VXSessionBus.h"
#include "VXWaylandLogging.h"
#include "VXWindowTitles.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>

const QString VXGnomeShellDesktop::kExtensionUUID = QStringLiteral("wendle@brasswing.com");
const QString VXGnomeShellDesktop::kObjectPath = QStringLiteral("/com/brasswing/Wendle/Shell");
const QString VXGnomeShellDesktop::kInterface = QStringLiteral("com.brasswing.Wendle.Shell");

namespace {

const QString kShellService = QStringLiteral("org.gnome.Shell");
const QString kShellPath = QStringLiteral("/org/gnome/Shell");
const QString kExtensionsInterface = QStringLiteral("org.gnome.Shell.Extensions");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
// The states GNOME Shell gives an extension (ExtensionState in its extensionUtils.js).
constexpr int kEnabled = 1;
constexpr int kDisabled = 2;
constexpr int kError = 3;
constexpr int kOutOfDate = 4;
constexpr int kInitialized = 6;
// Operations wait this long for the shell's answer.
constexpr int kCallTimeoutMs = kSessionBusTimeoutMs;

QDBusMessage shellCall(const QString &path, const QString &interface, const QString &method,
                       const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(kShellService, path, interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return message;
}

int majorVersion(const QString &shellVersion)
{
    return shellVersion.section(QLatin1Char('.'), 0, 0).toInt();
}

// Writes the file unless it already holds exactly these bytes.
bool writeIfChanged(const QString &path, const QByteArray &contents)
{
    QFile existing(path);
    if (existing.open(QIODevice::ReadOnly) && existing.size() == contents.size() && existing.readAll() == contents)
        return true;
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size() && file.commit();
}

bool readWindow(const QDBusArgument &argument, quint64 &id, VXToplevel &toplevel)
{
    QString appId;
    QString windowClass;
    QString title;
    qint64 pid = -1;
    uint flags = 0;
    argument.beginStructure();
    argument >> id >> appId >> windowClass >> title >> pid >> flags;
    argument.endStructure();
    toplevel.appId = appId.trimmed();
    toplevel.windowClass = windowClass.trimmed();
    toplevel.title = VXCleanWindowTitle(title);
    toplevel.pid = pid > 0 && pid <= 0x7fffffff ? pid : -1;
    VXApplyToplevelFlags(toplevel, flags);
    return id != 0;
}

}   // namespace

struct VXGnomeShellDesktop::Private {
    QDBusConnection bus;
    QString connectionName;
    VXGnomeShellOptions options;
    QString shellOwner;
    QString shellVersion;
    State state = State::WaitingForShell;
    QString notice;
    QString loggedNotice;
    // Incremented whenever the shell comes or goes, so that late answers are told apart.
    int generation = 0;

    explicit Private(QDBusConnection b) : bus(std::move(b)), connectionName(bus.name()) { }
};

VXGnomeShellDesktop::VXGnomeShellDesktop(QDBusConnection bus, const VXToplevelMirror::Options &options,
                                         const VXGnomeShellOptions &gnome) :
    VXToplevelDesktop(options),
    d(std::make_unique<Private>(std::move(bus)))
{
    d->options = gnome;
    if (d->options.extensionsFolder.isEmpty())
        d->options.extensionsFolder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QStringLiteral("/gnome-shell/extensions");
    if (d->options.gsettingsProgram.isEmpty())
        d->options.gsettingsProgram = QStringLiteral("gsettings");
}

VXGnomeShellDesktop::~VXGnomeShellDesktop()
{
    const QString name = d->connectionName;
    d.reset();
    QDBusConnection::disconnectFromBus(name);
}

std::unique_ptr<VXGnomeShellDesktop> VXGnomeShellDesktop::create(const VXToplevelMirror::Options &options,
                                                                 const VXGnomeShellOptions &gnomeOptions,
                                                                 QString *whyNot)
{
    QDBusConnection bus = VXConnectSessionBus(QStringLiteral("wendle-gnome"));
    if (!bus.isConnected()) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot reach the session bus: %1").arg(bus.lastError().message());
        QDBusConnection::disconnectFromBus(bus.name());
        return nullptr;
    }
    std::unique_ptr<VXGnomeShellDesktop> desktop(new VXGnomeShellDesktop(bus, options, gnomeOptions));
    VXGnomeShellDesktop *self = desktop.get();
    QDBusConnection &b = desktop->d->bus;
    b.connect(kShellService, kObjectPath, kInterface, QStringLiteral("WindowChanged"), self,
              SLOT(windowChanged(QDBusMessage)));
    b.connect(kShellService, kObjectPath, kInterface, QStringLiteral("WindowClosed"), self,
              SLOT(windowClosed(QDBusMessage)));
    b.connect(kShellService, kObjectPath, kInterface, QStringLiteral("FocusChanged"), self,
              SLOT(focusChanged(QDBusMessage)));
    b.connect(kShellService, kShellPath, kExtensionsInterface, QStringLiteral("ExtensionStateChanged"), self,
              SLOT(extensionStateChanged(QDBusMessage)));
    if (!VXFollowNameOwner(
            b, kShellService, self, [self](const QString &owner) { self->shellAppeared(owner); },
            [self] { self->shellVanished(); }))
        qCInfo(lcWayland) << "GNOME Shell is not on the session bus yet: Wendle attaches to it when it comes";
    return desktop;
}

QString VXGnomeShellDesktop::name() const
{
    return QStringLiteral("GNOME Shell through Wendle's extension");
}

QString VXGnomeShellDesktop::notice() const
{
    return d->notice;
}

bool VXGnomeShellDesktop::isConnected() const
{
    return d->bus.isConnected();
}

VXGnomeShellDesktop::State VXGnomeShellDesktop::state() const
{
    return d->state;
}

void VXGnomeShellDesktop::setState(State state, const QString &notice)
{
    d->notice = notice;
    // Said once: the same notice again (the shell restarting, a check repeated) is not logged.
    if (!notice.isEmpty() && notice != d->loggedNotice) {
        qCWarning(lcWayland).noquote() << notice;
        d->loggedNotice = notice;
    }
    if (state == d->state)
        return;
    d->state = state;
    Q_EMIT stateChanged(state);
}

QByteArray VXGnomeShellDesktop::extensionScript(const QString &shellVersion)
{
    const bool modules = majorVersion(shellVersion) >= 45;
    QByteArray script = resource(modules ? QStringLiteral(":/wendle/gnome-shell/module.js")
                                         : QStringLiteral(":/wendle/gnome-shell/legacy.js"));
    script.replace("// @TRACKER@\n", resource(QStringLiteral(":/wendle/gnome-shell/tracker.js")));
    return script;
}

QByteArray VXGnomeShellDesktop::extensionMetadata(const QString &shellVersion)
{
    QJsonObject metadata;
    metadata.insert(QStringLiteral("uuid"), kExtensionUUID);
    metadata.insert(QStringLiteral("name"), QStringLiteral("Wendle"));
    metadata.insert(QStringLiteral("description"),
                    QStringLiteral("Shows Wendle, the automatic time tracker, which window is in front and which "
                                   "windows are open. Installed by Wendle."));
    metadata.insert(QStringLiteral("version"), int(kExtensionVersion));
    metadata.insert(QStringLiteral("shell-version"), QJsonArray {QString::number(majorVersion(shellVersion))});
    return QJsonDocument(metadata).toJson();
}

void VXGnomeShellDesktop::shellAppeared(const QString &owner)
{
    if (owner == d->shellOwner)
        return;
    if (!d->shellOwner.isEmpty() || d->generation > 0)
        qCInfo(lcWayland) << "GNOME Shell is on the session bus: attaching to Wendle's extension";
    d->shellOwner = owner;
    ++d->generation;
    mirror().clear();
    setState(State::Checking);
    checkExtension();
}

void VXGnomeShellDesktop::shellVanished()
{
    if (d->shellOwner.isEmpty())
        return;
    qCWarning(lcWayland) << "GNOME Shell left the session bus: no windows are seen until it comes back";
    d->shellOwner.clear();
    ++d->generation;
    mirror().clear();
    setState(State::WaitingForShell);
}

void VXGnomeShellDesktop::checkExtension()
{
    // The shell's version and whether user extensions are on, then what it knows of ours.
    const int generation = d->generation;
    auto *properties = new QDBusPendingCallWatcher(
        d->bus.asyncCall(shellCall(kShellPath, kPropertiesInterface, QStringLiteral("GetAll"), {kExtensionsInterface}),
                         kCallTimeoutMs),
        this);
    connect(properties, &QDBusPendingCallWatcher::finished, this, [this, generation](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        if (generation != d->generation)
            return;
        const QDBusMessage reply = call->reply();
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            setState(State::Broken,
                     tr("GNOME Shell does not answer about its extensions (%1): windows are not "
                        "tracked.")
                         .arg(call->error().message()));
            return;
        }
        const QVariantMap values = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
        const QString version = values.value(QStringLiteral("ShellVersion")).toString();
        const bool enabled = values.value(QStringLiteral("UserExtensionsEnabled"), true).toBool();
        auto *info = new QDBusPendingCallWatcher(
            d->bus.asyncCall(
                shellCall(kShellPath, kExtensionsInterface, QStringLiteral("GetExtensionInfo"), {kExtensionUUID}),
                kCallTimeoutMs),
            this);
        connect(info, &QDBusPendingCallWatcher::finished, this,
                [this, generation, version, enabled](QDBusPendingCallWatcher *infoCall) {
                    infoCall->deleteLater();
                    if (generation != d->generation)
                        return;
                    const QDBusMessage infoReply = infoCall->reply();
                    const QVariantMap extension = infoReply.arguments().isEmpty()
                        ? QVariantMap()
                        : qdbus_cast<QVariantMap>(infoReply.arguments().constFirst());
                    extensionInfo(extension, version, enabled);
                });
    });
}

void VXGnomeShellDesktop::extensionInfo(const QVariantMap &info, const QString &shellVersion,
                                        bool userExtensionsEnabled)
{
    d->shellVersion = shellVersion;
    const int extensionState = info.isEmpty() ? 0 : int(info.value(QStringLiteral("state")).toDouble());
    if (!userExtensionsEnabled) {
        setState(State::Disabled,
                 tr("Extensions are turned off in GNOME, so Wendle's extension cannot show it the "
                    "windows. Turn extensions on (in the Extensions app) to track windows."));
        return;
    }
    QString whyNot;
    switch (extensionState) {
    case kEnabled: attach(); return;
    case kDisabled:
    case kInitialized:
        // Installed and loaded, but turned off: Wendle enabled it when it installed it, so the
        // user turned it off. That is theirs to undo; the adapter attaches when they do.
        setState(State::Disabled,
                 tr("Wendle's GNOME Shell extension is turned off, so windows are not tracked. "
                    "Turn it on in the Extensions app to track them."));
        return;
    case kError:
    case kOutOfDate:
        qCWarning(lcWayland).noquote() << QStringLiteral("GNOME Shell %1 could not run Wendle's extension (state %2):"
                                                         " installing it again")
                                              .arg(shellVersion)
                                              .arg(extensionState);
        [[fallthrough]];
    default:
        // Unknown to the shell: installed after it started, or not at all.
        if (!install(shellVersion, &whyNot)) {
            setState(State::Broken,
                     tr("Wendle cannot install its GNOME Shell extension (%1): windows are not "
                        "tracked.")
                         .arg(whyNot));
            return;
        }
        enableForNextLogin();
        setState(State::NeedsLogin,
                 tr("Wendle installed its GNOME Shell extension, which shows it the windows. GNOME Shell loads new "
                    "extensions only when you log in: log out and back in once, and Wendle tracks windows from then "
                    "on."));
    }
}

bool VXGnomeShellDesktop::install(const QString &shellVersion, QString *whyNot)
{
    const QString folder = d->options.extensionsFolder + QLatin1Char('/') + kExtensionUUID;
    if (!QDir().mkpath(folder)) {
        *whyNot = QStringLiteral("cannot make <%1>").arg(folder);
        return false;
    }
    const QString script = folder + QStringLiteral("/extension.js");
    const QString metadata = folder + QStringLiteral("/metadata.json");
    if (!writeIfChanged(script, extensionScript(shellVersion))
        || !writeIfChanged(metadata, extensionMetadata(shellVersion))) {
        *whyNot = QStringLiteral("cannot write into <%1>").arg(folder);
        return false;
    }
    qCInfo(lcWayland).noquote() << QStringLiteral("Wendle's GNOME Shell extension is in <%1>").arg(folder);
    return true;
}

void VXGnomeShellDesktop::enableForNextLogin()
{
    // The list of enabled extensions is a GSettings key: the shell reads it when it starts.
    auto *reading = new QProcess(this);
    connect(reading, &QProcess::finished, this, [this, reading](int exitCode, QProcess::ExitStatus status) {
        reading->deleteLater();
        const QString current = QString::fromUtf8(reading->readAllStandardOutput()).trimmed();
        if (status != QProcess::NormalExit || exitCode != 0) {
            qCWarning(lcWayland).noquote() << QStringLiteral("cannot read GNOME's list of enabled extensions: %1")
                                                  .arg(QString::fromUtf8(reading->readAllStandardError()).trimmed());
            return;
        }
        QStringList uuids;
        static const QRegularExpression kQuoted(QStringLiteral("'((?:[^'\\\\]|\\\\.)*)'"));
        for (auto match = kQuoted.globalMatch(current); match.hasNext();)
            uuids.append(match.next().captured(1));
        if (uuids.contains(kExtensionUUID))
            return;
        uuids.append(kExtensionUUID);
        QStringList quoted;
        for (const QString &uuid : std::as_const(uuids))
            quoted.append(QLatin1Char('\'') + uuid + QLatin1Char('\''));
        auto *writing = new QProcess(this);
        connect(writing, &QProcess::finished, writing, &QObject::deleteLater);
        writing->start(d->options.gsettingsProgram,
                       {QStringLiteral("set"), QStringLiteral("org.gnome.shell"), QStringLiteral("enabled-extensions"),
                        QLatin1Char('[') + quoted.join(QStringLiteral(", ")) + QLatin1Char(']')});
    });
    connect(reading, &QProcess::errorOccurred, this, [reading](QProcess::ProcessError error) {
        if (error != QProcess::FailedToStart)
            return;
        qCWarning(lcWayland) << "cannot run gsettings to enable Wendle's GNOME Shell extension";
        reading->deleteLater();
    });
    reading->start(d->options.gsettingsProgram,
                   {QStringLiteral("get"), QStringLiteral("org.gnome.shell"), QStringLiteral("enabled-extensions")});
}

void VXGnomeShellDesktop::attach()
{
    const int generation = d->generation;
    auto *watcher = new QDBusPendingCallWatcher(
        d->bus.asyncCall(shellCall(kObjectPath, kInterface, QStringLiteral("GetState")), kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, generation](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        if (generation != d->generation)
            return;
        const QDBusMessage reply = call->reply();
        if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1StringView("ta(tsssxu)")) {
            // Enabled, yet not answering as this Wendle expects: an older copy is loaded. The
            // files are brought up to date for the next login.
            QString whyNot;
            if (!install(d->shellVersion, &whyNot)) {
                setState(State::Broken,
                         tr("Wendle cannot install its GNOME Shell extension (%1): windows are "
                            "not tracked.")
                             .arg(whyNot));
                return;
            }
            setState(State::NeedsLogin,
                     tr("GNOME Shell runs an older copy of Wendle's extension. Log out and back "
                        "in once to load the new one; until then windows are not tracked."));
            return;
        }
        mirror().clear();
        const QDBusArgument windows = reply.arguments().at(1).value<QDBusArgument>();
        windows.beginArray();
        while (!windows.atEnd()) {
            quint64 id = 0;
            VXToplevel toplevel;
            if (readWindow(windows, id, toplevel))
                mirror().setToplevel(id, toplevel);
        }
        windows.endArray();
        const quint64 focused = reply.arguments().at(0).toULongLong();
        mirror().setActive(focused ? std::optional<Id>(focused) : std::nullopt);
        if (d->state != State::Tracking)
            qCInfo(lcWayland) << "Wendle's GNOME Shell extension reports the desktop";
        setState(State::Tracking);
    });
}

void VXGnomeShellDesktop::windowChanged(const QDBusMessage &message)
{
    if (d->state != State::Tracking || message.signature() != QLatin1StringView("(tsssxu)"))
        return;
    quint64 id = 0;
    VXToplevel toplevel;
    if (readWindow(message.arguments().constFirst().value<QDBusArgument>(), id, toplevel))
        mirror().setToplevel(id, toplevel);
}

void VXGnomeShellDesktop::windowClosed(const QDBusMessage &message)
{
    if (d->state == State::Tracking && message.signature() == QLatin1StringView("t"))
        mirror().removeToplevel(message.arguments().constFirst().toULongLong());
}

void VXGnomeShellDesktop::focusChanged(const QDBusMessage &message)
{
    if (d->state != State::Tracking || message.signature() != QLatin1StringView("t"))
        return;
    const quint64 id = message.arguments().constFirst().toULongLong();
    mirror().setActive(id ? std::optional<Id>(id) : std::nullopt);
}

void VXGnomeShellDesktop::extensionStateChanged(const QDBusMessage &message)
{
    if (message.arguments().size() < 2 || message.arguments().constFirst().toString() != kExtensionUUID)
        return;
    const QVariantMap info = qdbus_cast<QVariantMap>(message.arguments().at(1));
    const int extensionState = int(info.value(QStringLiteral("state")).toDouble());
    if (extensionState == kEnabled && d->state != State::Tracking) {
        attach();
    } else if (extensionState != kEnabled && d->state == State::Tracking) {
        mirror().clear();
        setState(State::Disabled,
                 tr("Wendle's GNOME Shell extension was turned off: windows are not tracked until "
                    "it is turned on again."));
    }
}

bool VXGnomeShellDesktop::callExtension(const QString &method, const QVariant &argument, QString *whyNot)
{
    if (d->state != State::Tracking) {
        if (whyNot)
            *whyNot = notAvailableHere(tr("Asking GNOME Shell for this"));
        return false;
    }
    const QDBusMessage reply
        = d->bus.call(shellCall(kObjectPath, kInterface, method, {argument}), QDBus::Block, kCallTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()
        && reply.arguments().constFirst().toBool())
        return true;
    if (whyNot)
        *whyNot = reply.type() == QDBusMessage::ErrorMessage ? reply.errorMessage() : tr("GNOME Shell did not do it.");
    return false;
}

bool VXGnomeShellDesktop::activateToplevel(Id id, QString *whyNot)
{
    return callExtension(QStringLiteral("Activate"), QVariant::fromValue(quint64(id)), whyNot);
}

bool VXGnomeShellDesktop::closeToplevel(Id id, QString *whyNot)
{
    return callExtension(QStringLiteral("Close"), QVariant::fromValue(quint64(id)), whyNot);
}

bool VXGnomeShellDesktop::launch(const QString &bundlePath, QString *whyNot)
{
    // The shell launches applications it knows with startup notification and focus; others
    // start as a launcher would start them.
    for (const QString &folder : VXDesktopEntryIndex::applicationFolders()) {
        if (d->state != State::Tracking || !bundlePath.startsWith(folder + QLatin1Char('/')))
            continue;
        const QString id = VXDesktopEntry::idForRelativePath(bundlePath.mid(folder.size() + 1));
        if (!id.isEmpty() && callExtension(QStringLiteral("Launch"), id, nullptr))
            return true;
    }
    return VXLaunchApplication(bundlePath, whyNot);
}
