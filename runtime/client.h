/// A driver and the link it works on, for the length of one command.
#ifndef RUNTIME_CLIENT_H
#define RUNTIME_CLIENT_H

#include "runtime/driver_plugin.h"
#include "runtime/failure.h"
#include "runtime/failure_text.h"
#include "runtime/link.h"
#include "runtime/project_database.h"
#include "runtime/statistics.h"
#include "runtime/trace_log.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QTextStream>

#include <functional>
#include <memory>
#include <mutex>

class CommunicatorCommand;
class DriverInterface;
struct LinkOptions;

/// A request that has ended, for those who look on.
struct RequestReport {
    RequestFigures figures;
    const Failure &failure;      ///< good when it succeeded
    const RequestRecord &record; ///< what went over the wire
    SerialErrors errors;         ///< of the port, during the request
    StrayInput stray;            ///< what came in the same time that nobody waited for
    qint64 bytes;                ///< both directions
    bool isLinkBroken;           ///< whether nothing can come or go any more
};

/// Loads the driver, looks the station up in the project where that is asked for, opens the link,
/// and makes requests.
class Client
{
public:
    /// @param options what to load and open; outlives the client
    /// @param err     gets warnings and the trace; outlives the client
    Client(const LinkOptions &options, QTextStream &err);
    ~Client();

    /// Loads the driver and looks the station up; opens no port. Requires: no other thread does so,
    /// and the thread is the same for all clients that look one up.
    Failure loadDriver(DriverObject object = DriverObject::Root);

    /// Opens the link, or opens it anew, and the trace where one is asked for.
    /// Requires: `loadDriver` succeeded.
    Failure openLink();

    /// Loads the driver and opens the link.
    Failure open();

    /// Closes the link, in the thread that has opened it: its socket belongs to that one.
    void closeLink() { m_link.reset(); }

    /// Makes one read request. Requires: `openLink` succeeded, as for all requests.
    /// @param data gets the values; is empty after a failure
    Failure read(const CommunicatorCommand &command, QByteArray *data);

    /// Makes one write request. @return good when the PLC has confirmed the data
    Failure write(const CommunicatorCommand &command, const QByteArray &data);

    /// Opens and closes the communication, and counts that as a request.
    /// @param openMs, closeMs get the round-trip times of the two lines, in milliseconds
    Failure ping(double *openMs, double *closeMs);

    const DriverPlugin &plugin() const { return m_plugin; }
    DriverInterface *driver() const { return m_plugin.driver(); }

    /// The open link's channel. Requires: `openLink` succeeded.
    LinkChannel *channel() const { return m_link->channel(); }

    /// Whether the link is worth opening anew after a request without a reply: the port is broken,
    /// or is a connection, whose other end may be gone unnoticed. Requires: `openLink` was called.
    bool doubtsLink() const;

    /// The settings in force: the project's station, else the options, else the driver's defaults.
    /// Requires: `loadDriver` succeeded.
    DriverSetting pacing() const;

    /// The PLC's station. Requires: `loadDriver` succeeded.
    int station() const { return pacing().stationid; }

    /// Has each request that ends shown to @p observer, but none that a signal has cut short.
    void observe(const std::function<void(const RequestReport &)> &observer)
    {
        m_observer = observer;
    }

    /// As Link::latencyText. Requires: `openLink` succeeded.
    QString latencyText() const { return m_link->latencyText(); }

    /// What the requests so far came to; any thread may ask.
    Statistics statistics() const;

    /// What the project says of the link; null when none was asked for.
    const ProjectLink *project() const { return m_hasProject ? &m_project : nullptr; }

private:
    Failure findProject();
    Failure openTrace();
    Failure initializeDriver();
    void count(const RequestFigures &request);
    RequestPlace placeOf(const QString &address, const SerialErrors &before) const;
    RequestOutcome driverOutcome(bool succeeded) const;
    Failure request(const std::function<RequestOutcome()> &work, const QString &address);
    Failure failureOf(RequestOutcome outcome, const RequestPlace &place) const;

    const LinkOptions &m_options;
    QTextStream &m_err;
    DriverPlugin m_plugin;
    std::unique_ptr<TraceLog> m_trace;
    std::unique_ptr<Link> m_link;
    bool m_hasProject;
    ProjectLink m_project;
    mutable std::mutex m_statisticsMutex;
    Statistics m_statistics;
    std::function<void(const RequestReport &)> m_observer; // null for none
};

#endif
