#include "VXX11TestRig.h"

#include "VXTestSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QStandardPaths>
#include <QThread>

#include <xcb/xcb.h>

#include <cstdlib>

using namespace Qt::StringLiterals;

#ifndef WENDLE_X11_TEST_CLIENT
#error "WENDLE_X11_TEST_CLIENT must name the test client's path"
#endif

// ---- Test client

bool VXX11TestClient::waitForReady(int timeoutMs)
{
    const QByteArray line = readLine(timeoutMs);
    if (!line.startsWith("ready"))
        return false;
    for (const QByteArray &word : line.split(' ').mid(1)) {
        bool ok = false;
        const std::uint32_t window = word.toUInt(&ok, 16);
        if (ok)
            m_windows.push_back(window);
    }
    return !m_windows.empty();
}

// ---- Rig

VXX11TestRig::VXX11TestRig() = default;

VXX11TestRig::~VXX11TestRig()
{
    stop();
}

QCoreApplication *VXX11TestRig::application()
{
    VXEnsureCoreApplication();
    return QCoreApplication::instance();
}

QString VXX11TestRig::missingProgram(const QStringList &programs)
{
    for (const QString &program : programs) {
        if (QStandardPaths::findExecutable(program).isEmpty())
            return program;
    }
    return QString();
}

std::unique_ptr<QProcess> VXX11TestRig::makeProcess() const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(m_environment);
    process->setProcessChannelMode(QProcess::SeparateChannels);
    // The pieces' chatter is not the test's business, and a full pipe would block them.
    if (qEnvironmentVariableIsEmpty("WENDLE_X11_RIG_VERBOSE"))
        process->setStandardErrorFile(QProcess::nullDevice());
    else
        process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    return process;
}

bool VXX11TestRig::start(const Options &options, QString *whyNot)
{
    application();
    stop();
    QStringList needed = {u"Xvfb"_s, u"dbus-daemon"_s};
    if (options.windowManager)
        needed << u"openbox"_s;
    if (const QString missing = missingProgram(needed); !missing.isEmpty()) {
        *whyNot = missing + u" is not installed"_s;
        return false;
    }
    m_temporary = std::make_unique<QTemporaryDir>();
    m_environment = QProcessEnvironment::systemEnvironment();
    // Nothing of the rig's pieces writes into the real home.
    m_environment.insert(u"XDG_CACHE_HOME"_s, m_temporary->path() + u"/cache"_s);
    m_environment.insert(u"XDG_CONFIG_HOME"_s, m_temporary->path() + u"/config"_s);

    // A session bus of our own, so that nothing started on the display autolaunches one.
    m_bus = makeProcess();
    const QByteArray address
        = VXStartServer(*m_bus, u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address=1"_s});
    if (address.isEmpty()) {
        *whyNot = u"the session bus did not start"_s;
        stop();
        return false;
    }
    m_environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromUtf8(address));

    // Xvfb picks a free display and writes its number to the descriptor given (its output).
    m_server = makeProcess();
    const QByteArray number = VXStartServer(
        *m_server, u"Xvfb"_s,
        {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"1280x1024x24"_s, u"-nolisten"_s, u"tcp"_s, u"-noreset"_s},
        15000);
    if (number.isEmpty()) {
        *whyNot = u"Xvfb did not start"_s;
        stop();
        return false;
    }
    m_display = u":"_s + QString::fromUtf8(number);
    m_environment.insert(u"DISPLAY"_s, m_display);
    m_hadDisplay = qEnvironmentVariableIsSet("DISPLAY");
    m_previousDisplay = qgetenv("DISPLAY");
    qputenv("DISPLAY", m_display.toLocal8Bit());

    int screenNumber = 0;
    m_connection = xcb_connect(m_display.toLocal8Bit().constData(), &screenNumber);
    if (xcb_connection_has_error(m_connection)) {
        *whyNot = u"cannot connect to the new X server "_s + m_display;
        stop();
        return false;
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;

    if (options.windowManager) {
        m_windowManager = makeProcess();
        m_windowManager->start(u"openbox"_s, {u"--sm-disable"_s});
        if (!waitForWindowManager(10000)) {
            *whyNot = u"openbox did not take the screen in time"_s;
            stop();
            return false;
        }
    }
    return true;
}

bool VXX11TestRig::waitForWindowManager(int timeoutMs)
{
    // openbox sets _NET_SUPPORTING_WM_CHECK early in its start-up and _NET_CLIENT_LIST last; a
    // window mapped between the two can stall the server for seconds, so wait for the latter.
    const QByteArray name("_NET_CLIENT_LIST");
    const QDeadlineTimer deadline(timeoutMs);
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
        xcb_intern_atom_reply(m_connection, xcb_intern_atom(m_connection, 0, uint16_t(name.size()), name.constData()),
                              nullptr),
        &std::free);
    if (!atom)
        return false;
    while (!deadline.hasExpired()) {
        std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
            xcb_get_property_reply(
                m_connection, xcb_get_property(m_connection, 0, m_root, atom->atom, XCB_ATOM_WINDOW, 0, 1), nullptr),
            &std::free);
        if (reply && reply->type == XCB_ATOM_WINDOW)
            return true;
        if (m_windowManager->state() == QProcess::NotRunning)
            return false;
        QThread::msleep(20);
    }
    return false;
}

void VXX11TestRig::stop()
{
    for (auto it = m_programs.rbegin(); it != m_programs.rend(); ++it)
        VXStopProcess(**it);
    m_programs.clear();
    if (m_windowManager)
        VXStopProcess(*m_windowManager);
    m_windowManager.reset();
    if (m_connection) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
    }
    if (m_server) {
        VXStopProcess(*m_server);
        m_server.reset();
        if (m_hadDisplay)
            qputenv("DISPLAY", m_previousDisplay);
        else
            qunsetenv("DISPLAY");
    }
    if (m_bus)
        VXStopProcess(*m_bus);
    m_bus.reset();
    m_display.clear();
    m_temporary.reset();
}

QProcess *VXX11TestRig::startProgram(const QString &program, const QStringList &arguments)
{
    m_programs.push_back(makeProcess());
    QProcess *process = m_programs.back().get();
    process->setStandardOutputFile(QProcess::nullDevice());
    process->start(program, arguments);
    process->waitForStarted(5000);
    return process;
}

std::unique_ptr<VXX11TestClient> VXX11TestRig::startTestClient(const QStringList &arguments, int timeoutMs)
{
    auto process = makeProcess();
    process->start(QStringLiteral(WENDLE_X11_TEST_CLIENT), arguments);
    if (!process->waitForStarted(5000))
        return nullptr;
    auto client = std::make_unique<VXX11TestClient>(std::move(process));
    if (!client->waitForReady(timeoutMs))
        return nullptr;
    return client;
}

bool VXX11TestRig::run(const QString &program, const QStringList &arguments, int timeoutMs, QByteArray *output)
{
    return VXRunToEnd(*makeProcess(), program, arguments, timeoutMs, output);
}

void VXX11TestRig::killServer()
{
    if (m_server) {
        m_server->kill();
        m_server->waitForFinished(5000);
    }
}
