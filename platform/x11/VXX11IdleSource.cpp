#include "VXX11IdleSource.h"

#include "VXX11Logging.h"
#include "VXXcbReply.h"

#include <QSocketNotifier>

#include <xcb/screensaver.h>
#include <xcb/sync.h>
#include <xcb/xcb.h>

#include <cstring>
#include <limits>
#include <optional>

namespace {

// How long the source waits after a report before it looks at the idle time again: the bound on
// both the report rate and the delay of noticing input during a burst.
constexpr int kCoolingMs = 1000;
// The screen-saver fallback polls at this interval.
constexpr int kPollMs = 1000;

constexpr QLatin1StringView kIdleCounterName("IDLETIME");

xcb_sync_int64_t syncValue(std::int64_t value)
{
    xcb_sync_int64_t result;
    result.hi = std::int32_t(value >> 32);
    result.lo = std::uint32_t(value & 0xffffffff);
    return result;
}

std::int64_t fromSyncValue(const xcb_sync_int64_t &value)
{
    return std::int64_t((std::uint64_t(std::uint32_t(value.hi)) << 32) | value.lo);
}

// The counter named `name` among the server's system counters, or XCB_NONE. The reply is walked
// by hand: libxcb 1.15 iterates it with a 16-byte stride while each entry on the wire is a 14-byte
// header (counter, resolution, name length), the name, and padding to 4 bytes.
xcb_sync_counter_t findSystemCounter(const xcb_sync_list_system_counters_reply_t *reply, QLatin1StringView name)
{
    const auto *begin = reinterpret_cast<const std::uint8_t *>(reply);
    const std::uint8_t *end = begin + sizeof(*reply) + std::size_t(reply->length) * 4;
    const std::uint8_t *entry = begin + sizeof(*reply);
    for (std::uint32_t i = 0; i < reply->counters_len; ++i) {
        constexpr std::size_t kHeader = 14;
        if (std::size_t(end - entry) < kHeader)
            break;
        xcb_sync_counter_t counter = 0;
        std::uint16_t nameLength = 0;
        std::memcpy(&counter, entry, sizeof counter);
        std::memcpy(&nameLength, entry + 12, sizeof nameLength);
        if (std::size_t(end - entry) < kHeader + nameLength)
            break;
        if (QLatin1StringView(reinterpret_cast<const char *>(entry + kHeader), nameLength) == name)
            return counter;
        entry += (kHeader + nameLength + 3) & ~std::size_t(3);
    }
    return XCB_NONE;
}

}   // namespace

struct VXX11IdleSource::Private {
    VXXcbConnection connection;
    xcb_window_t root = XCB_NONE;
    bool useSync = false;
    xcb_sync_counter_t idleCounter = XCB_NONE;
    xcb_sync_alarm_t alarm = XCB_NONE;
    std::uint8_t alarmNotifyType = 0;
    bool lost = false;

    xcb_connection_t *c() const { return connection.get(); }

    // The idle time in milliseconds, or nothing when the server does not answer.
    std::optional<std::int64_t> idleTime()
    {
        if (useSync) {
            VXXcbReply<xcb_sync_query_counter_reply_t> reply(
                xcb_sync_query_counter_reply(c(), xcb_sync_query_counter(c(), idleCounter), nullptr));
            if (!reply)
                return std::nullopt;
            return fromSyncValue(reply->counter_value);
        }
        VXXcbReply<xcb_screensaver_query_info_reply_t> reply(
            xcb_screensaver_query_info_reply(c(), xcb_screensaver_query_info(c(), root), nullptr));
        if (!reply)
            return std::nullopt;
        return std::int64_t(reply->ms_since_user_input);
    }

    // Sets the alarm to fire when the idle time is at most `value` (that is: when it drops).
    void armResetAlarm(std::int64_t value)
    {
        xcb_sync_change_alarm_value_list_t values {};
        values.valueType = XCB_SYNC_VALUETYPE_ABSOLUTE;
        values.value = syncValue(value);
        values.testType = XCB_SYNC_TESTTYPE_NEGATIVE_COMPARISON;
        values.delta = syncValue(0);
        values.events = 1;
        xcb_sync_change_alarm_aux(c(), alarm,
                                  XCB_SYNC_CA_VALUE_TYPE | XCB_SYNC_CA_VALUE | XCB_SYNC_CA_TEST_TYPE | XCB_SYNC_CA_DELTA
                                      | XCB_SYNC_CA_EVENTS,
                                  &values);
    }

    bool startSync()
    {
        const xcb_query_extension_reply_t *extension = xcb_get_extension_data(c(), &xcb_sync_id);
        if (!extension || !extension->present)
            return false;
        VXXcbReply<xcb_sync_initialize_reply_t> version(
            xcb_sync_initialize_reply(c(), xcb_sync_initialize(c(), 3, 1), nullptr));
        if (!version)
            return false;
        VXXcbReply<xcb_sync_list_system_counters_reply_t> counters(
            xcb_sync_list_system_counters_reply(c(), xcb_sync_list_system_counters(c()), nullptr));
        if (!counters)
            return false;
        idleCounter = findSystemCounter(counters.get(), kIdleCounterName);
        if (idleCounter == XCB_NONE)
            return false;
        // The alarm starts with a test that never passes; settle() gives it its real one.
        alarm = xcb_generate_id(c());
        xcb_sync_create_alarm_value_list_t values {};
        values.counter = idleCounter;
        values.valueType = XCB_SYNC_VALUETYPE_ABSOLUTE;
        values.value = syncValue(std::numeric_limits<std::int64_t>::max());
        values.testType = XCB_SYNC_TESTTYPE_POSITIVE_COMPARISON;
        values.delta = syncValue(0);
        values.events = 1;
        VXXcbReply<xcb_generic_error_t> error(xcb_request_check(
            c(),
            xcb_sync_create_alarm_aux_checked(c(), alarm,
                                              XCB_SYNC_CA_COUNTER | XCB_SYNC_CA_VALUE_TYPE | XCB_SYNC_CA_VALUE
                                                  | XCB_SYNC_CA_TEST_TYPE | XCB_SYNC_CA_DELTA | XCB_SYNC_CA_EVENTS,
                                              &values)));
        if (error) {
            alarm = XCB_NONE;
            return false;
        }
        alarmNotifyType = std::uint8_t(extension->first_event + XCB_SYNC_ALARM_NOTIFY);
        useSync = true;
        return true;
    }

    bool startScreenSaver()
    {
        const xcb_query_extension_reply_t *extension = xcb_get_extension_data(c(), &xcb_screensaver_id);
        if (!extension || !extension->present)
            return false;
        useSync = false;
        return idleTime().has_value();
    }
};

VXX11IdleSource::VXX11IdleSource(const QString &display, Method method, QObject *parent) :
    QObject(parent), m_display(display), m_method(method)
{
    m_coolingTimer.setSingleShot(true);
    m_coolingTimer.setInterval(kCoolingMs);
    m_coolingTimer.setTimerType(Qt::CoarseTimer);
    connect(&m_coolingTimer, &QTimer::timeout, this, &VXX11IdleSource::onCoolingTimer);
    m_screenSaverTimer.setInterval(kPollMs);
    m_screenSaverTimer.setTimerType(Qt::CoarseTimer);
    connect(&m_screenSaverTimer, &QTimer::timeout, this, &VXX11IdleSource::onScreenSaverTimer);
}

VXX11IdleSource::~VXX11IdleSource()
{
    stop();
}

QString VXX11IdleSource::name() const
{
    if (d && d->useSync)
        return QStringLiteral("X11 SYNC idle counter");
    if (d)
        return QStringLiteral("X11 screen-saver idle time");
    return QStringLiteral("X11 idle time");
}

bool VXX11IdleSource::start(VXPresenceObserver &observer)
{
    stop();
    const QByteArray display = m_display.isEmpty() ? qgetenv("DISPLAY") : m_display.toLocal8Bit();
    if (display.isEmpty()) {
        qCInfo(lcX11) << "no X display (DISPLAY is not set): no X11 idle time";
        return false;
    }
    auto p = std::make_unique<Private>();
    int screenNumber = 0;
    p->connection.reset(xcb_connect(display.constData(), &screenNumber));
    if (xcb_connection_has_error(p->c())) {
        qCWarning(lcX11) << "cannot connect to the X display" << QString::fromLocal8Bit(display) << "for the idle time";
        return false;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(p->c()));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    if (screens.rem <= 0)
        return false;
    p->root = screens.data->root;
    xcb_prefetch_extension_data(p->c(), &xcb_sync_id);
    xcb_prefetch_extension_data(p->c(), &xcb_screensaver_id);

    bool started = m_method == Method::Automatic && p->startSync();
    if (!started)
        started = p->startScreenSaver();
    if (!started) {
        qCWarning(lcX11) << "the X server offers no idle time (neither SYNC's IDLETIME counter nor MIT-SCREEN-SAVER)";
        return false;
    }
    d = std::move(p);
    m_observer = &observer;
    m_wakeUps = 0;
    m_notifier = new QSocketNotifier(qintptr(xcb_get_file_descriptor(d->c())), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &VXX11IdleSource::onSocketActivity);
    if (d->useSync) {
        m_state = State::Quiet;
        settle(false);
    } else {
        m_state = State::Quiet;
        m_sincePoll.start();
        m_screenSaverTimer.start();
    }
    drainEvents();
    return d != nullptr;
}

void VXX11IdleSource::stop()
{
    m_coolingTimer.stop();
    m_screenSaverTimer.stop();
    if (m_notifier) {
        // stop() may run inside the notifier's own signal (an observer that stops the source).
        m_notifier->setEnabled(false);
        m_notifier->deleteLater();
        m_notifier = nullptr;
    }
    if (d && !d->lost && !xcb_connection_has_error(d->c()) && d->alarm != XCB_NONE) {
        xcb_sync_destroy_alarm(d->c(), d->alarm);
        xcb_flush(d->c());
    }
    d.reset();
    m_observer = nullptr;
    m_state = State::Stopped;
}

bool VXX11IdleSource::checkConnection()
{
    if (!d)
        return false;
    if (d->lost)
        return false;
    if (!xcb_connection_has_error(d->c()))
        return true;
    d->lost = true;
    qCWarning(lcX11) << "lost the connection to the X server: user input is no longer watched";
    // Without this the dead socket would stay readable and wake the event loop forever.
    m_coolingTimer.stop();
    m_screenSaverTimer.stop();
    if (m_notifier)
        m_notifier->setEnabled(false);
    m_state = State::Stopped;
    return false;
}

void VXX11IdleSource::onSocketActivity()
{
    ++m_wakeUps;
    drainEvents();
}

void VXX11IdleSource::drainEvents()
{
    // xcb may already hold events it read while waiting for a reply; the socket notifier would
    // not see those, so this runs after every request as well.
    if (m_draining || !d)
        return;
    m_draining = true;
    while (d && !d->lost) {
        xcb_generic_event_t *raw = xcb_poll_for_event(d->c());
        if (!raw)
            break;
        const VXXcbReply<xcb_generic_event_t> event(raw);
        if (d->useSync && (event->response_type & 0x7f) == d->alarmNotifyType) {
            const auto *notify = reinterpret_cast<const xcb_sync_alarm_notify_event_t *>(event.get());
            // A stale notification (the alarm fired while a report was cooling) is ignored: the
            // cooling timer looks at the idle time itself.
            if (notify->alarm == d->alarm && m_state == State::Quiet)
                report(0);
        } else if (event->response_type == 0) {
            qCDebug(lcX11) << "X error" << reinterpret_cast<const xcb_generic_error_t *>(event.get())->error_code
                           << "while watching the idle time";
        }
    }
    m_draining = false;
    checkConnection();
}

void VXX11IdleSource::report(std::int64_t idleMs)
{
    m_state = State::Cooling;
    m_sinceReport.start();
    m_coolingTimer.start();
    // Last, as the observer may stop the source.
    if (m_observer)
        m_observer->inputHappenedSecondsAgo(double(idleMs) / 1000.0);
}

void VXX11IdleSource::settle(bool afterReport)
{
    if (!checkConnection())
        return;
    const std::optional<std::int64_t> idle = d->idleTime();
    if (!idle || !checkConnection())
        return;
    if (afterReport && *idle < m_sinceReport.elapsed()) {
        report(*idle);   // input since the last report, this long ago
        return;
    }
    if (*idle < 1) {
        // Input this very millisecond: no value below it to wait for; look again in a second.
        m_state = State::Cooling;
        m_sinceReport.start();
        m_coolingTimer.start();
        return;
    }
    // Wait for the idle time to drop below what it is now. Read it once more behind the alarm
    // (one round trip for both): input that came between the two reads is reported here, as the
    // server may not test an alarm against a value that had already dropped.
    d->armResetAlarm(*idle - 1);
    const std::optional<std::int64_t> again = d->idleTime();
    if (!again || !checkConnection())
        return;
    if (*again < *idle) {
        report(*again);
        return;
    }
    m_state = State::Quiet;
}

void VXX11IdleSource::onCoolingTimer()
{
    ++m_wakeUps;
    if (!d || m_state != State::Cooling)
        return;
    settle(true);
    drainEvents();
}

void VXX11IdleSource::onScreenSaverTimer()
{
    ++m_wakeUps;
    if (!checkConnection())
        return;
    const std::optional<std::int64_t> idle = d->idleTime();
    const qint64 sincePoll = m_sincePoll.restart();
    drainEvents();
    if (!idle || !checkConnection())
        return;
    // Any drop of the idle time means input: without input it would have grown by sincePoll.
    if (*idle < sincePoll && m_observer)
        m_observer->inputHappenedSecondsAgo(double(*idle) / 1000.0);
}
