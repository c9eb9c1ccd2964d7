#include "apps/kvbridge/kvbridge.h"

#include "apps/kvbridge/statistics_output.h"
#include "runtime/escaped_text.h"
#include "runtime/stop_request.h"
#include "runtime/trace_log.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTextStream>
#include <QtCore/QTimer>

#include <systemd/sd-daemon.h>

namespace
{

// A stop signal waits for so long, and the times of the turns are kept so exactly.
const int TICK_MS = 100;

void say(QTextStream &err, const QString &text)
{
    err << "kvbridge: " << printableText(text) << '\n';
    err.flush();
}

Failure parseRange(const QString &text, AddressRange *range)
{
    *range = QHostAddress::parseSubnet(text);
    return range->second >= 0
               ? Failure()
               : Failure(StatusUsage, QString::fromLatin1("\"%1\": expected an address or a range "
                                                          "to allow, such as 192.168.0.0/24")
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

private:
    qint64 m_intervalMs; // 0 for no watchdog
    QElapsedTimer m_clock;
};

// Serves with a started bridge, until a signal ends it.
void serve(BridgeServer &server, MetricsServer &metrics, QTextStream &err)
{
    QTimer timer;
    Watchdog watchdog;
    bool isStopping = false;
    const auto report = [&] {
        for (const QString &line : statisticsText(server.statistics()))
            say(err, line);
    };
    QObject::connect(&timer, &QTimer::timeout, [&] {
        server.tick();
        watchdog.tick();
        metrics.update(server.statistics());
        if (takeReportRequest())
            report();
        if (stopRequested() && !isStopping) {
            isStopping = true;
            sd_notify(0, "STOPPING=1");
            server.stop();
        }
    });
    timer.start(TICK_MS);
    sd_notify(0, "READY=1");
    while (!isStopping || !server.isAtRest())
        server.serve();
    report();
}

Failure bridge(const KvbridgeOptions &options, QTextStream &out, QTextStream &err)
{
    BridgeSettings settings;
    TcpAddress metricsAddress;
    std::unique_ptr<TraceLog> trace;
    Failure failure = readSettings(options, &settings);
    if (!failure && !options.metrics.isEmpty())
        failure = parseListenAddress(options.metrics, &metricsAddress);
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
