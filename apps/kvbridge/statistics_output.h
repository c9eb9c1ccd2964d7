/// What a bridge has done, as text and as metrics.
#ifndef APPS_KVBRIDGE_STATISTICS_OUTPUT_H
#define APPS_KVBRIDGE_STATISTICS_OUTPUT_H

#include "bridge/bridge_statistics.h"
#include "runtime/failure.h"
#include "runtime/tcp_port.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

namespace prometheus
{
class Exposer;
}

class StatisticsCollector;

/// A line for each client address, and one for all.
QStringList statisticsText(const BridgeStatistics &statistics);

/// Serves the latest statistics as Prometheus text at http://HOST:PORT/metrics, from threads of its
/// own.
class MetricsServer
{
public:
    MetricsServer();
    ~MetricsServer();

    /// Requires: called once. @return StatusOpen when it cannot listen there
    Failure start(const TcpAddress &address);

    /// The port in use. Requires: `start` succeeded.
    quint16 port() const;

    /// What is served from now on.
    void update(const BridgeStatistics &statistics);

private:
    Q_DISABLE_COPY(MetricsServer)

    const std::shared_ptr<StatisticsCollector> m_collector;
    std::unique_ptr<prometheus::Exposer> m_exposer;
    QString m_host;
};

#endif
