#include "apps/kvbridge/statistics_output.h"

#include "runtime/escaped_text.h"

#include <prometheus/collectable.h>
#include <prometheus/exposer.h>
#include <prometheus/metric_family.h>

#include <QtNetwork/QTcpSocket>

#include <chrono>
#include <exception>
#include <future>
#include <mutex>

namespace
{

// A visitor that sends nothing holds a thread for the time.
const char SERVER_THREADS[] = "4";
const char REQUEST_TIMEOUT_MS[] = "2000";

// How long a connection of this machine to itself may take.
const int VISIT_MS = 100;

const struct {
    quint64 ClientCounts::*count;
    const char *singular; // as text
    const char *plural;
    const char *name; // of the metric
    const char *help;
} COUNTS[] = {
    {&ClientCounts::turns, "turn", "turns", "kvbridge_turns_total", "Turns begun"},
    {&ClientCounts::cutTurns, "cut", "cut", "kvbridge_cut_turns_total",
     "Turns that the bridge closed, as the client did not"},
    {&ClientCounts::exchanges, "exchange", "exchanges", "kvbridge_exchanges_total",
     "Lines sent to the PLC"},
    {&ClientCounts::noReplies, "without reply", "without reply", "kvbridge_no_replies_total",
     "Lines that got no reply"},
    {&ClientCounts::badReplies, "unusable reply", "unusable replies", "kvbridge_bad_replies_total",
     "Lines whose reply was damaged or another line's"},
    {&ClientCounts::forbidden, "line refused", "lines refused", "kvbridge_forbidden_lines_total",
     "Lines refused as the bridge is read-only"},
    {&ClientCounts::drops, "connection dropped", "connections dropped",
     "kvbridge_dropped_connections_total", "Connections that the bridge has ended"},
    {&ClientCounts::sentBytes, "byte sent", "bytes sent", "kvbridge_sent_bytes_total",
     "Bytes to the PLC"},
    {&ClientCounts::replyBytes, "byte received", "bytes received", "kvbridge_reply_bytes_total",
     "Bytes from the PLC"},
};

QString countsText(const QString &client, const ClientCounts &counts)
{
    QStringList parts(QString::fromLatin1("%1 connected").arg(counts.connected));
    for (const auto &row : COUNTS)
        parts += countText(static_cast<qint64>(counts.*row.count), row.singular, row.plural);
    return client + QLatin1String(": ") + parts.join(QLatin1String(", "));
}

prometheus::ClientMetric valueOf(double value)
{
    prometheus::ClientMetric metric;
    metric.counter.value = value;
    metric.gauge.value = value;
    return metric;
}

prometheus::MetricFamily familyOf(const char *name, const char *help, prometheus::MetricType type)
{
    prometheus::MetricFamily family;
    family.name = name;
    family.help = help;
    family.type = type;
    return family;
}

// Adds a client's value.
void add(prometheus::MetricFamily *family, const QString &client, double value)
{
    family->metric.push_back(valueOf(value));
    family->metric.back().label.push_back({"client", client.toStdString()});
}

std::vector<prometheus::MetricFamily> familiesOf(const BridgeStatistics &statistics)
{
    using prometheus::MetricType;
    std::vector<prometheus::MetricFamily> families = {
        familyOf("kvbridge_connections", "Connected clients", MetricType::Gauge),
        familyOf("kvbridge_silent_stations", "Stations that do not answer", MetricType::Gauge),
        familyOf("kvbridge_port_losses_total", "Times that the port was lost", MetricType::Counter),
    };
    const auto &clients = statistics.clients;
    for (auto it = clients.begin(); it != clients.end(); ++it)
        add(&families[0], it.key(), it->connected);
    families[1].metric.push_back(valueOf(statistics.silentStations));
    families[2].metric.push_back(valueOf(static_cast<double>(statistics.lostPorts)));
    for (const auto &row : COUNTS) {
        families.push_back(familyOf(row.name, row.help, MetricType::Counter));
        for (auto it = clients.begin(); it != clients.end(); ++it)
            add(&families.back(), it.key(), static_cast<double>((*it).*row.count));
    }
    return families;
}

} // namespace

/// The statistics between the thread that counts and those that serve.
class StatisticsCollector : public prometheus::Collectable
{
public:
    void update(const BridgeStatistics &statistics)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_statistics = statistics;
    }

    std::vector<prometheus::MetricFamily> Collect() const override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return familiesOf(m_statistics);
    }

private:
    mutable std::mutex m_mutex;
    BridgeStatistics m_statistics;
};

QStringList statisticsText(const BridgeStatistics &statistics)
{
    QStringList lines;
    for (auto it = statistics.clients.begin(); it != statistics.clients.end(); ++it)
        lines += countsText(it.key(), it.value());
    lines += countsText(QString::fromLatin1("all clients"), statistics.total()) +
             QString::fromLatin1("; %1, port lost %2")
                 .arg(countText(statistics.silentStations, "silent station", "silent stations"),
                      countText(static_cast<qint64>(statistics.lostPorts), "time", "times"));
    return lines;
}

MetricsServer::MetricsServer() : m_collector(std::make_shared<StatisticsCollector>()) {}

// The exposer notices its end with the next connection, or within two seconds.
MetricsServer::~MetricsServer()
{
    if (!m_exposer)
        return;
    const quint16 at = port();
    const auto ended = std::async(std::launch::async, [this] { m_exposer.reset(); });
    while (ended.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
        QTcpSocket visitor;
        visitor.connectToHost(m_host, at);
        visitor.waitForConnected(VISIT_MS);
    }
}

Failure MetricsServer::start(const TcpAddress &address)
{
    m_host = address.host;
    const QString place = tcpAddressText(address.host, address.port);
    try {
        m_exposer.reset(
            new prometheus::Exposer({"listening_ports", place.toStdString(), "num_threads",
                                     SERVER_THREADS, "request_timeout_ms", REQUEST_TIMEOUT_MS}));
    } catch (const std::exception &) {
        return Failure(StatusOpen, QString::fromLatin1("cannot serve metrics at %1: is the port "
                                                       "in use, or the address another machine's?")
                                       .arg(place));
    }
    m_exposer->RegisterCollectable(m_collector);
    return Failure();
}

quint16 MetricsServer::port() const
{
    return static_cast<quint16>(m_exposer->GetListeningPorts().front());
}

void MetricsServer::update(const BridgeStatistics &statistics)
{
    m_collector->update(statistics);
}
