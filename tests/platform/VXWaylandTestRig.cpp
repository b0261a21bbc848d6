#include "VXWaylandTestRig.h"

#include "VXTestSupport.h"
#include "fake-input-client-protocol.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibraryInfo>
#include <QStandardPaths>
#include <QThread>

#include <wayland-client.h>

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

#include <cstring>
#include <functional>
#include <optional>

using namespace Qt::StringLiterals;

#ifndef WENDLE_WAYLAND_TEST_WINDOW
#error "WENDLE_WAYLAND_TEST_WINDOW must name the test window's path"
#endif

namespace {

// The account sway runs under when the tests run as root (sway refuses root): nobody.
constexpr uid_t kUnprivilegedUser = 65534;
const QString kKWinSocket = u"wayland-kde"_s;
const QString kGnomeSocket = u"wayland-gnome"_s;
// The dynamic loader that runs kwin_wayland without its file capabilities (see start).
const QString kLoader = u"/lib64/ld-linux-x86-64.so.2"_s;
// The variables a test's own process takes from the rig, put back by stop().
const char *const kProcessVariables[] = {"XDG_RUNTIME_DIR",         "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS",
                                         "DBUS_SYSTEM_BUS_ADDRESS", "XDG_DATA_HOME",   "XDG_CONFIG_HOME",
                                         "XDG_CACHE_HOME",          "DISPLAY",         "XDG_SESSION_TYPE"};

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(20);
    }
    return true;
}

// A test that dies (a crash, a timeout) takes what it started with it: nothing is left running.
void endsWithTheTest(QProcess &process)
{
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
}

bool copyFolder(const QString &from, const QString &to)
{
    QDirIterator files(from, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString file = files.next();
        const QString target = to + file.mid(from.size());
        QDir().mkpath(QFileInfo(target).path());
        if (!QFile::copy(file, target))
            return false;
    }
    return true;
}

}   // namespace

// ---- Rig

struct VXWaylandTestRig::Private {
    Options options;
    std::unique_ptr<QProcess> bus;
    std::unique_ptr<QProcess> systemBus;
    std::unique_ptr<QProcess> compositor;
    QString compositorLog;
    QString swaySocket;
    QString connectionName;
    std::vector<std::pair<const char *, std::optional<QByteArray>>> savedVariables;
    // KWin: the rig's own connection for injecting input (org_kde_kwin_fake_input).
    wl_display *display = nullptr;
    org_kde_kwin_fake_input *fakeInput = nullptr;
    int scripts = 0;

    std::unique_ptr<QProcess> makeProcess(const QProcessEnvironment &environment) const
    {
        auto process = std::make_unique<QProcess>();
        endsWithTheTest(*process);
        process->setProcessEnvironment(environment);
        if (qEnvironmentVariableIsEmpty("WENDLE_WAYLAND_RIG_VERBOSE"))
            process->setStandardErrorFile(QProcess::nullDevice());
        else
            process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        return process;
    }

    void dropFakeInput()
    {
        if (fakeInput)
            org_kde_kwin_fake_input_destroy(fakeInput);
        fakeInput = nullptr;
        if (display)
            wl_display_disconnect(display);
        display = nullptr;
    }
};

VXWaylandTestRig::VXWaylandTestRig() : d(std::make_unique<Private>()) { }

VXWaylandTestRig::~VXWaylandTestRig()
{
    stop();
}

const char *VXWaylandTestRig::compositorName(Compositor compositor)
{
    switch (compositor) {
    case Sway: return "sway";
    case KWin: return "kwin_wayland";
    case GnomeShell: return "gnome-shell";
    }
    return "";
}

QString VXWaylandTestRig::dataHome() const
{
    return m_environment.value(u"XDG_DATA_HOME"_s);
}

qint64 VXWaylandTestRig::compositorPid() const
{
    return d->compositor ? d->compositor->processId() : 0;
}

QByteArray VXWaylandTestRig::compositorLog() const
{
    QFile log(d->compositorLog);
    return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
}

bool VXWaylandTestRig::start(const Options &options, QString *whyNot)
{
    stop();
    d->options = options;
    const bool root = ::geteuid() == 0;
    QStringList needed = {u"dbus-daemon"_s, QString::fromUtf8(compositorName(options.compositor))};
    if (options.compositor == Sway)
        needed << u"swaymsg"_s << u"wtype"_s << (root ? u"setpriv"_s : QString());
    if (options.compositor == GnomeShell)
        needed << u"gsettings"_s;
    for (const QString &program : std::as_const(needed)) {
        if (!program.isEmpty() && QStandardPaths::findExecutable(program).isEmpty()) {
            *whyNot = program + u" is not installed"_s;
            return false;
        }
    }
    if (!QFileInfo::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) + u"/platforms/libqwayland-generic.so"_s)) {
        *whyNot = u"Qt's Wayland platform plug-in (qt6-wayland) is not installed"_s;
        return false;
    }

    m_temporary = std::make_unique<QTemporaryDir>(QDir::tempPath() + u"/wendle-wl-XXXXXX"_s);
    // WENDLE_WAYLAND_RIG_KEEP=1 leaves the folder (logs, scripts, the desktop's files) for a look.
    m_temporary->setAutoRemove(qEnvironmentVariableIsEmpty("WENDLE_WAYLAND_RIG_KEEP"));
    const QString root_ = m_temporary->path();
    const QString runtime = root_ + u"/run"_s;
    const QString home = root_ + u"/home"_s;
    QDir().mkpath(runtime);
    QDir().mkpath(home);
    QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    m_environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "WAYLAND_SOCKET", "XDG_SESSION_TYPE", "XDG_CURRENT_DESKTOP",
                             "SWAYSOCK", "DBUS_SYSTEM_BUS_ADDRESS"})
        m_environment.remove(QString::fromUtf8(name));
    m_environment.insert(u"XDG_RUNTIME_DIR"_s, runtime);
    m_environment.insert(u"HOME"_s, home);
    m_environment.insert(u"XDG_DATA_HOME"_s, home + u"/.local/share"_s);
    m_environment.insert(u"XDG_CONFIG_HOME"_s, home + u"/.config"_s);
    m_environment.insert(u"XDG_CACHE_HOME"_s, home + u"/.cache"_s);
    m_environment.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);

    std::vector<std::pair<QString, QByteArray>> entries = options.desktopEntries;
    if (options.compositor == KWin) {
        // KWin offers fake input (and the window-management protocol) only to a program named,
        // by absolute path, in a desktop entry that asks for them: this test program.
        entries.emplace_back(
            u"wendle-wayland-test.desktop"_s,
            QStringLiteral("[Desktop Entry]\nType=Application\nName=Wendle Wayland test\nExec=%1\nNoDisplay=true\n"
                           "X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input,org_kde_plasma_window_management\n")
                .arg(QCoreApplication::applicationFilePath())
                .toUtf8());
    }
    for (const auto &[name, contents] : entries) {
        if (!VXWriteFile(dataHome() + u"/applications/"_s + name, contents)) {
            *whyNot = u"cannot write the desktop entry "_s + name;
            stop();
            return false;
        }
    }

    const auto startBus = [&](std::unique_ptr<QProcess> &bus, const QString &variable) {
        bus = d->makeProcess(m_environment);
        const QByteArray address
            = VXStartServer(*bus, u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
        if (address.isEmpty())
            return false;
        m_environment.insert(variable, QString::fromUtf8(address));
        return true;
    };
    if (!startBus(d->bus, u"DBUS_SESSION_BUS_ADDRESS"_s)
        || (options.compositor == GnomeShell && !startBus(d->systemBus, u"DBUS_SYSTEM_BUS_ADDRESS"_s))) {
        *whyNot = u"a bus did not start"_s;
        stop();
        return false;
    }
    d->connectionName = u"wendle-wayland-rig-%1"_s.arg(quintptr(this));

    if (options.compositor == GnomeShell) {
        const QString extensions = dataHome() + u"/gnome-shell/extensions/"_s;
        for (const QString &folder : options.extensionFolders) {
            if (!copyFolder(folder, extensions + QFileInfo(folder).fileName())) {
                *whyNot = u"cannot copy the extension "_s + folder;
                stop();
                return false;
            }
        }
        QStringList quoted;
        for (const QString &uuid : options.enabledExtensions)
            quoted << QLatin1Char('\'') + uuid + QLatin1Char('\'');
        if (!run(u"gsettings"_s,
                 {u"set"_s, u"org.gnome.shell"_s, u"enabled-extensions"_s,
                  QLatin1Char('[') + quoted.join(u", "_s) + QLatin1Char(']')},
                 10000)) {
            *whyNot = u"gsettings cannot enable the extensions"_s;
            stop();
            return false;
        }
    }
    if (!startCompositor(whyNot)) {
        stop();
        return false;
    }
    // This process reaches the same desktop and bus (the adapters under test read them).
    for (const char *name : kProcessVariables) {
        d->savedVariables.emplace_back(
            name, qEnvironmentVariableIsSet(name) ? std::optional<QByteArray>(qgetenv(name)) : std::nullopt);
        const QString value = m_environment.value(QString::fromUtf8(name));
        if (value.isEmpty())
            qunsetenv(name);
        else
            qputenv(name, value.toLocal8Bit());
    }
    return true;
}

bool VXWaylandTestRig::startCompositor(QString *whyNot)
{
    const QString runtime = m_environment.value(u"XDG_RUNTIME_DIR"_s);
    d->compositorLog = m_temporary->path() + u"/compositor.log"_s;
    QFile::remove(d->compositorLog);
    QProcessEnvironment environment = m_environment;
    auto process = std::make_unique<QProcess>();
    endsWithTheTest(*process);
    process->setStandardOutputFile(d->compositorLog);
    process->setStandardErrorFile(d->compositorLog, QIODevice::Append);
    QString program;
    QStringList arguments;

    switch (d->options.compositor) {
    case Sway: {
        const QString config = runtime + u"/sway.conf"_s;
        VXWriteFile(config, "output HEADLESS-1 resolution 1280x800\ndefault_border none\nxwayland disable\n");
        environment.insert(u"WLR_BACKENDS"_s, u"headless"_s);
        environment.insert(u"WLR_LIBINPUT_NO_DEVICES"_s, u"1"_s);
        environment.insert(u"WLR_RENDERER"_s, u"pixman"_s);
        environment.insert(u"WLR_HEADLESS_OUTPUTS"_s, u"1"_s);
        program = u"sway"_s;
        arguments = {u"-c"_s, config};
        if (::geteuid() == 0) {
            // sway refuses to run as root: it runs as nobody, owning its runtime folder, which
            // root (the tests, the windows) can still reach.
            QFile::setPermissions(m_temporary->path(),
                                  QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                      | QFileDevice::ExeOther);
            for (const QString &path : {runtime, config, d->compositorLog}) {
                if (!QFileInfo::exists(path))
                    VXWriteFile(path, QByteArray());
                if (::chown(path.toLocal8Bit().constData(), kUnprivilegedUser, kUnprivilegedUser) != 0) {
                    *whyNot = u"cannot hand <%1> to the unprivileged user"_s.arg(path);
                    return false;
                }
            }
            environment.insert(u"HOME"_s, runtime);
            // A change of user clears the parent-death signal: setpriv sets it again.
            arguments = QStringList {u"--reuid=65534"_s, u"--regid=65534"_s, u"--clear-groups"_s, u"--pdeathsig=TERM"_s,
                                     program}
                + arguments;
            program = u"setpriv"_s;
        }
        break;
    }
    case KWin: {
        program = u"kwin_wayland"_s;
        // Debian gives kwin_wayland a file capability (cap_sys_resource) that a container's
        // bounding set may lack, and then exec fails. Through the loader the file's capabilities
        // do not apply; KWin then needs to be told to use its own Qt platform plug-in.
        QProcess probe;
        probe.setProcessEnvironment(environment);
        probe.start(program, {u"--version"_s});
        if (!probe.waitForFinished(10000) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0) {
            if (!QFileInfo::exists(kLoader)) {
                *whyNot = u"kwin_wayland cannot be run here"_s;
                return false;
            }
            environment.insert(u"KWIN_FORCE_OWN_QPA"_s, u"1"_s);
            arguments << QStandardPaths::findExecutable(program);
            program = kLoader;
        }
        environment.remove(u"QT_QPA_PLATFORM"_s);
        arguments << u"--virtual"_s << u"--width"_s << u"1280"_s << u"--height"_s << u"800"_s << u"--no-lockscreen"_s
                  << u"--no-global-shortcuts"_s << u"--no-kactivities"_s << u"--socket"_s << kKWinSocket;
        break;
    }
    case GnomeShell:
        environment.remove(u"QT_QPA_PLATFORM"_s);
        program = u"gnome-shell"_s;
        arguments = {u"--headless"_s, u"--wayland"_s,         u"--no-x11"_s, u"--virtual-monitor"_s,
                     u"1280x800"_s,   u"--wayland-display"_s, kGnomeSocket};
        break;
    }
    process->setProcessEnvironment(environment);
    process->start(program, arguments);
    if (!process->waitForStarted(10000)) {
        *whyNot = u"%1 did not start"_s.arg(program);
        return false;
    }
    d->compositor = std::move(process);
    QProcess &compositor = *d->compositor;
    const auto failed = [&](const QString &why) {
        *whyNot = u"%1 %2; its log:\n%3"_s.arg(QString::fromUtf8(compositorName(d->options.compositor)), why,
                                               QString::fromUtf8(compositorLog().right(3000)));
        VXStopProcess(compositor, 5000);
        return false;
    };

    switch (d->options.compositor) {
    case Sway: {
        const bool ready = waitFor(
            [&] {
                const QStringList sockets = QDir(runtime).entryList({u"wayland-*"_s}, QDir::System);
                const QStringList ipc = QDir(runtime).entryList({u"sway-ipc.*.sock"_s}, QDir::System);
                for (const QString &socket : sockets) {
                    if (!socket.endsWith(QLatin1StringView(".lock")) && !ipc.isEmpty()) {
                        m_display = socket;
                        d->swaySocket = runtime + QLatin1Char('/') + ipc.first();
                        return true;
                    }
                }
                return compositor.state() == QProcess::NotRunning;
            },
            15000);
        if (!ready || compositor.state() == QProcess::NotRunning)
            return failed(u"was not ready in time"_s);
        m_environment.insert(u"SWAYSOCK"_s, d->swaySocket);
        break;
    }
    case KWin:
    case GnomeShell: {
        const bool gnome = d->options.compositor == GnomeShell;
        m_display = gnome ? kGnomeSocket : kKWinSocket;
        const QString service = gnome ? u"org.gnome.Shell"_s : u"org.kde.KWin"_s;
        const bool ready = waitFor(
            [&] {
                if (compositor.state() == QProcess::NotRunning)
                    return true;
                if (!QFileInfo::exists(runtime + QLatin1Char('/') + m_display))
                    return false;
                if (gnome && !compositorLog().contains("GNOME Shell started"))
                    return false;
                const QDBusMessage reply = call(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                u"org.freedesktop.DBus"_s, u"NameHasOwner"_s, {service}, 1000);
                return !reply.arguments().isEmpty() && reply.arguments().constFirst().toBool();
            },
            30000);
        if (!ready || compositor.state() == QProcess::NotRunning)
            return failed(u"was not ready in time"_s);
        break;
    }
    }
    m_environment.insert(u"WAYLAND_DISPLAY"_s, m_display);
    if (d->options.compositor == GnomeShell && d->options.enabledExtensions.contains(u"wendle-test@wendle"_s)) {
        // GNOME Shell starts in the overview, where new windows do not take the focus.
        evaluate(u"Main.overview.hide()"_s);
    }
    return true;
}

void VXWaylandTestRig::killCompositor()
{
    d->dropFakeInput();
    if (d->compositor) {
        d->compositor->kill();
        d->compositor->waitForFinished(5000);
    }
}

bool VXWaylandTestRig::restartCompositor(QString *whyNot)
{
    if (d->compositor)
        VXStopProcess(*d->compositor, 5000);
    d->compositor.reset();
    d->dropFakeInput();
    return startCompositor(whyNot);
}

void VXWaylandTestRig::stop()
{
    d->dropFakeInput();
    if (!d->connectionName.isEmpty())
        QDBusConnection::disconnectFromBus(d->connectionName);
    d->connectionName.clear();
    if (d->compositor)
        VXStopProcess(*d->compositor, 5000);
    d->compositor.reset();
    for (auto *bus : {&d->systemBus, &d->bus}) {
        if (*bus)
            VXStopProcess(**bus, 5000);
        bus->reset();
    }
    for (const auto &[name, value] : d->savedVariables) {
        if (value)
            qputenv(name, *value);
        else
            qunsetenv(name);
    }
    d->savedVariables.clear();
    m_display.clear();
    m_temporary.reset();
}

std::unique_ptr<VXWaylandTestWindow> VXWaylandTestRig::startWindow(const QString &appId, const QString &title,
                                                                   int count, int timeoutMs)
{
    auto process = d->makeProcess(m_environment);
    process->start(QStringLiteral(WENDLE_WAYLAND_TEST_WINDOW),
                   {u"--app-id"_s, appId, u"--title"_s, title, u"--count"_s, QString::number(count)});
    if (!process->waitForStarted(5000))
        return nullptr;
    auto window = std::make_unique<VXWaylandTestWindow>(std::move(process));
    if (!window->waitForReady(timeoutMs))
        return nullptr;
    return window;
}

QDBusMessage VXWaylandTestRig::call(const QString &service, const QString &path, const QString &interface,
                                    const QString &method, const QVariantList &arguments, int timeoutMs)
{
    QDBusConnection bus
        = QDBusConnection::connectToBus(m_environment.value(u"DBUS_SESSION_BUS_ADDRESS"_s), d->connectionName);
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return bus.call(message, QDBus::Block, timeoutMs);
}

bool VXWaylandTestRig::run(const QString &program, const QStringList &arguments, int timeoutMs, QByteArray *output)
{
    return VXRunToEnd(*d->makeProcess(m_environment), program, arguments, timeoutMs, output);
}

bool VXWaylandTestRig::runKWinScript(const QString &text, QString *result)
{
    // A one-shot script; it prints a mark (and its result) to KWin's log when it has run, and is
    // unloaded then.
    const QString name = u"wendle-test-%1"_s.arg(++d->scripts);
    const QString path = m_temporary->path() + QLatin1Char('/') + name + u".js"_s;
    const QByteArray mark = "js: " + name.toUtf8() + " done ";
    if (!VXWriteFile(path,
                     (u"var result = \"\";\n"_s + text + u"\nprint(\"%1 done \" + result);\n"_s.arg(name)).toUtf8()))
        return false;
    const QString kwin = u"org.kde.KWin"_s;
    const QString scripting = u"org.kde.kwin.Scripting"_s;
    if (call(kwin, u"/Scripting"_s, scripting, u"loadScript"_s, {path, name}).type() != QDBusMessage::ReplyMessage)
        return false;
    call(kwin, u"/Scripting"_s, scripting, u"start"_s);
    QByteArray log;
    const bool ran = waitFor(
        [&] {
            log = compositorLog();
            return log.contains(mark);
        },
        5000);
    call(kwin, u"/Scripting"_s, scripting, u"unloadScript"_s, {name});
    if (ran && result) {
        const qsizetype at = log.indexOf(mark) + mark.size();
        *result = QString::fromUtf8(log.mid(at, log.indexOf('\n', at) - at));
    }
    return ran;
}

bool VXWaylandTestRig::evaluate(const QString &script, QString *result)
{
    const QDBusMessage reply
        = call(u"org.gnome.Shell"_s, u"/org/gnome/Shell"_s, u"org.gnome.Shell"_s, u"Eval"_s, {script});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() < 2)
        return false;
    if (result)
        *result = reply.arguments().at(1).toString();
    return reply.arguments().constFirst().toBool();
}

bool VXWaylandTestRig::focus(qint64 pid)
{
    switch (d->options.compositor) {
    case Sway: return run(u"swaymsg"_s, {u"[pid=%1] focus"_s.arg(pid)});
    case KWin:
        return runKWinScript(
            QStringLiteral(
                "var list = workspace.windowList ? workspace.windowList() : workspace.clientList();\n"
                "for (var i = 0; i < list.length; ++i) {\n"
                "    if (list[i].pid != %1) continue;\n"
                "    if (workspace.activeWindow !== undefined) workspace.activeWindow = list[i];\n"
                "    else workspace.activeClient = list[i];\n"
                "    print(\"focus\", list[i].caption, workspace.activeClient ? workspace.activeClient.caption : \"-\");\n"
                "    break;\n"
                "}")
                .arg(pid));
    case GnomeShell:
        return evaluate(
            QStringLiteral("global.get_window_actors().map(a => a.meta_window)"
                           ".find(w => w.get_pid() == %1).activate(global.display.get_current_time_roundtrip())")
                .arg(pid));
    }
    return false;
}

qint64 VXWaylandTestRig::focusedPid()
{
    switch (d->options.compositor) {
    case Sway: {
        QByteArray tree;
        if (!run(u"swaymsg"_s, {u"-t"_s, u"get_tree"_s, u"-r"_s}, 5000, &tree))
            return -1;
        std::function<qint64(const QJsonObject &)> find = [&](const QJsonObject &node) -> qint64 {
            if (node.value(u"focused"_s).toBool() && node.contains(u"pid"_s))
                return node.value(u"pid"_s).toInteger();
            for (const QString &children : {u"nodes"_s, u"floating_nodes"_s}) {
                for (const QJsonValue &child : node.value(children).toArray()) {
                    if (const qint64 pid = find(child.toObject()))
                        return pid;
                }
            }
            return 0;
        };
        return find(QJsonDocument::fromJson(tree).object());
    }
    case KWin: {
        QString result;
        if (!runKWinScript(QStringLiteral("var active = workspace.activeWindow !== undefined ? workspace.activeWindow "
                                          ": workspace.activeClient;\nresult = active ? String(active.pid) : \"0\";"),
                           &result))
            return -1;
        return result.toLongLong();
    }
    case GnomeShell: {
        QString result;
        if (!evaluate(u"global.display.focus_window ? String(global.display.focus_window.get_pid()) : '0'"_s, &result))
            return -1;
        // Eval answers JSON: a string comes quoted.
        return result.remove(QLatin1Char('"')).toLongLong();
    }
    }
    return -1;
}

bool VXWaylandTestRig::injectInput()
{
    switch (d->options.compositor) {
    case Sway: return run(u"wtype"_s, {u"-k"_s, u"Shift_L"_s});
    case KWin: {
        if (!d->display) {
            d->display = wl_display_connect(m_display.toLocal8Bit().constData());
            if (!d->display)
                return false;
            wl_registry *registry = wl_display_get_registry(d->display);
            static const wl_registry_listener kListener
                = {[](void *data, wl_registry *r, std::uint32_t name, const char *interface, std::uint32_t) {
                       if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0)
                           static_cast<Private *>(data)->fakeInput = static_cast<org_kde_kwin_fake_input *>(
                               wl_registry_bind(r, name, &org_kde_kwin_fake_input_interface, 1));
                   },
                   [](void *, wl_registry *, std::uint32_t) {}};
            wl_registry_add_listener(registry, &kListener, d.get());
            wl_display_roundtrip(d->display);
            wl_registry_destroy(registry);
            if (!d->fakeInput)
                return false;
            org_kde_kwin_fake_input_authenticate(d->fakeInput, "Wendle tests", "moves the pointer to end idling");
        }
        org_kde_kwin_fake_input_pointer_motion(d->fakeInput, wl_fixed_from_int(1), wl_fixed_from_int(0));
        return wl_display_roundtrip(d->display) >= 0;
    }
    case GnomeShell: {
        const QString service = u"org.gnome.Mutter.RemoteDesktop"_s;
        const QDBusMessage created = call(service, u"/org/gnome/Mutter/RemoteDesktop"_s, service, u"CreateSession"_s);
        if (created.type() != QDBusMessage::ReplyMessage || created.arguments().isEmpty())
            return false;
        const QString session = created.arguments().constFirst().value<QDBusObjectPath>().path();
        const QString interface = service + u".Session"_s;
        call(service, session, interface, u"Start"_s);
        const QDBusMessage moved = call(service, session, interface, u"NotifyPointerMotionRelative"_s, {1.0, 0.0});
        call(service, session, interface, u"Stop"_s);
        return moved.type() == QDBusMessage::ReplyMessage;
    }
    }
    return false;
}
