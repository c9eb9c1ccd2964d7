#include "apps/kvbridge/kvbridge.h"

#include "apps/kvbridge/statistics_output.h"
#include "runtime/escaped_text.h"
#include "runtime/stop_request.h"
#include "runtime/trace_log.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTextStream>
#include <QtCore/QTimer>

#include <systemd/sd-daemon.h>

namespace
{

// The times of the turns are kept so exactly.
const int TICK_MS = 100;

// Without anything to do, the timer rests for so long at most: it takes no longer times.
const qint64 LONGEST_REST_MS = 24 * 60 * 60 * 1000;

void say(QTextStream &err, const QString &text)
{
    err << "kvbridge: " << printableText(text) << '\n';
    err.flush();
}

// Qt and the system also take a short address, and a number with 0 in front as octal.
bool isFullAddress(const QString &text)
{
    const QHostAddress address(text);
    return address.protocol() == QAbstractSocket::IPv6Protocol ||
           (!address.isNull() && address.toString() == text);
}

Failure parseRange(const QString &text, AddressRange *range)
{
    *range = QHostAddress::parseSubnet(text);
    return range->second >= 0 && isFullAddress(text.section(QLatin1Char('/'), 0, 0))
               ? Failure()
               : Failure(StatusUsage,
                         QString::fromLatin1("\"%1\": expected a whole address or a range "
                                             "to allow, such as 192.168.0.7 or 192.168.0.0/24")
                             .arg(text));
}

Failure readSettings(const KvbridgeOptions &options, BridgeSettings *settings)
{
    *settings = options.bridge;
    if (settings->link.port.isEmpty() && settings->link.tcp.isEmpty())
        return Failure(StatusUsage,
                       QLatin1String("no PLC is named; give --port DEV or --tcp HOST:PORT"));
    Failure failure = parseListenAddress(options.listen, &settings->listen);
    const QStringList own = {QLatin1String("127.0.0.0/8"), QLatin1String("::1/128")};
    for (const QString &text : options.allow.isEmpty() ? own : options.allow) {
        AddressRange range;
        if (!failure)
            failure = parseRange(text, &range);
        settings->allowed.append(range);
    }
    return failure;
}

Failure parseMetricsAddress(const QString &text, TcpAddress *address)
{
    Failure failure = parseListenAddress(text, address);
    if (!failure && address->host.contains(QLatin1Char(':')))
        failure = Failure(StatusUsage,
                          QString::fromLatin1("--metrics \"%1\": expected an IPv4 address, as the "
                                              "HTTP server has no IPv6; give 127.0.0.1:PORT")
                              .arg(text));
    return failure;
}

// Tells the service manager that the bridge works, as long as it does.
class Watchdog
{
public:
    Watchdog() : m_intervalMs(0)
    {
        uint64_t limitUs = 0;
        if (sd_watchdog_enabled(0, &limitUs) > 0)
            m_intervalMs = static_cast<qint64>(limitUs / 2000);
        m_clock.start();
    }

    void tick()
    {
        if (m_intervalMs == 0 || m_clock.elapsed() < m_intervalMs)
            return;
        sd_notify(0, "WATCHDOG=1");
        m_clock.start();
    }

    // Until the next `tick` that does something.
    qint64 restMs() const
    {
        return m_intervalMs == 0 ? LONGEST_REST_MS : m_intervalMs - m_clock.elapsed();
    }

private:
    qint64 m_intervalMs; // 0 for no watchdog
    QElapsedTimer m_clock;
};

// Lets time pass for the bridge: some times a second while there is anything to do, and else only
// when its time has come.
class Ticks
{
public:
    Ticks(BridgeServer &server, MetricsServer &metrics) : m_server(server), m_metrics(metrics)
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { tick(); });
        m_timer.start(TICK_MS);
    }

    // Waits for events; to be called before the work that they ask for.
    void wait()
    {
        m_hasTicked = false;
        m_server.wait();
        setTimer();
    }

private:
    // Any event but a tick is followed by a tick soon, for what the event has begun.
    void setTimer()
    {
        const qint64 restMs = m_hasTicked ? qMin(m_server.restMs(), m_watchdog.restMs()) : 0;
        const int intervalMs = static_cast<int>(qBound<qint64>(TICK_MS, restMs, LONGEST_REST_MS));
        if (intervalMs == m_timer.interval())
            return;
        m_timer.start(intervalMs);
        m_metrics.update(m_server.statistics()); // which stay so in the rest
    }

    void tick()
    {
        m_hasTicked = true;
        m_server.tick();
        m_watchdog.tick();
        m_metrics.update(m_server.statistics());
    }

    BridgeServer &m_server;
    MetricsServer &m_metrics;
    Watchdog m_watchdog;
    QTimer m_timer;
    bool m_hasTicked = false; // in the latest wait
};

// Serves with a started bridge, until a signal ends it.
void serve(BridgeServer &server, MetricsServer &metrics, QTextStream &err)
{
    Ticks ticks(server, metrics);
    QSocketNotifier stops(stopDescriptor(), QSocketNotifier::Read);
    QSocketNotifier reports(reportDescriptor(), QSocketNotifier::Read);
    bool isStopping = false;
    const auto report = [&] {
        for (const QString &line : statisticsText(server.statistics()))
            say(err, line);
    };
    QObject::connect(&reports, &QSocketNotifier::activated, [&] {
        if (takeReportRequest())
            report();
    });
    QObject::connect(&stops, &QSocketNotifier::activated, [&] {
        stops.setEnabled(false); // it can be read for good
        isStopping = true;
        sd_notify(0, "STOPPING=1");
        server.stop();
    });
    sd_notify(0, "READY=1");
    while (!isStopping || !server.isAtRest()) {
        ticks.wait();
        server.work();
    }
    report();
}

Failure bridge(const KvbridgeOptions &options, QTextStream &out, QTextStream &err)
{
    BridgeSettings settings;
    TcpAddress metricsAddress;
    std::unique_ptr<TraceLog> trace;
    Failure failure = readSettings(options, &settings);
    if (!failure && !options.metrics.isEmpty())
        failure = parseMetricsAddress(options.metrics, &metricsAddress);
    if (!failure)
        failure = watchStopSignals();
    if (!failure && !options.trace.isEmpty())
        failure = openTraceLog(options.trace, err, &trace);
    if (failure)
        return failure;
    MetricsServer metrics;
    BridgeServer server(
        settings, [&err](const QString &text) { say(err, text); }, trace.get());
    failure = server.start();
    if (!failure && !options.metrics.isEmpty())
        failure = metrics.start(metricsAddress);
    if (failure)
        return failure;
    out << "tcp " << server.place() << '\n';
    if (!options.metrics.isEmpty())
        out << "metrics " << tcpAddressText(metricsAddress.host, metrics.port()) << '\n';
    out.flush();
    if (out.status() != QTextStream::Ok)
        return Failure(StatusOpen, QLatin1String("cannot write the ready line"));
    serve(server, metrics, err);
    if (trace && trace->failed())
        return Failure(StatusOpen, QLatin1String("cannot write all of the trace"));
    return Failure();
}

} // namespace

Status runKvbridge(const KvbridgeOptions &options, QTextStream &out, QTextStream &err)
{
    const Failure failure = bridge(options, out, err);
    if (failure)
        say(err, failure.text());
    return failure.status();
}
