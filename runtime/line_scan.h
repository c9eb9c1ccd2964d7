/// The search for a PLC of which settings or station are unknown. It sends open and close lines and
/// nothing else.
#ifndef RUNTIME_LINE_SCAN_H
#define RUNTIME_LINE_SCAN_H

#include "runtime/failure.h"
#include "runtime/port.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <functional>
#include <memory>

class LinkChannel;
class TraceLog;

/// Where to search.
struct ScanOptions {
    QString port;          ///< DEV[,BAUD[,FORMAT]]; what is left out is searched; empty for none
    QString tcp;           ///< HOST:PORT when there is no port
    QVector<int> stations; ///< 0 to 99, in the order of the search; one at least
    bool findsAll = false; ///< goes on behind the first PLC
    int timeoutMs = -1;    ///< longest wait for a reply, in milliseconds; -1 chooses one
};

/// One setting of the wire, and what was heard under it.
struct ScanSetting {
    QString option;      ///< of kvlink: "--port DEV,9600,8e1" or "--tcp HOST:PORT"
    QString name;        ///< "9600,8e1", or the address
    int baud = 0;        ///< 0 for a connection
    QString failure;     ///< why it could not be opened; empty when it was
    bool hasPlc = false; ///< a PLC replied
    bool isDone = false; ///< a PLC was found, and with it all of its stations that were asked for
    QByteArray refusal;  ///< error reply to an open line
    QByteArray garbage;  ///< the first bytes that are no reply
    bool isEcho = false; ///< a line came back as it was sent
    SerialErrors errors; ///< of the port
};

/// A station that was opened and closed again.
struct ScanFind {
    QString option; ///< as in `ScanSetting`
    int station;
    double openMs; ///< from the open line to its reply
};

/// How far the search is.
struct ScanStep {
    bool isFirst;    ///< of a pass over several settings, or of all stations under one
    bool isRepeated; ///< the pass looks again, with more time for replies
    bool hasPlc;     ///< a PLC answers under the setting, which is searched for all stations
    int settings;    ///< of the pass, those behind this one included
    int stations;    ///< under each of them
    QString setting; ///< the name
    int station;     ///< to be opened next
    qint64 leftMs;   ///< the pass takes at most about so long, in milliseconds
};

/// Searches all settings for the first station, then looks again, with more time, where something
/// came that is no reply, and under the setting before: a late reply arrives there. Last it
/// searches all settings for the other stations. A setting under which a PLC replies, in whatever
/// way, is searched for all stations at once.
class LineScan
{
public:
    /// Requires: one of port and address is named, in the right form.
    /// @param trace gets each line and outlives the search; null for none
    /// @param watch is called before each open line
    LineScan(const ScanOptions &options, TraceLog *trace,
             const std::function<void(const ScanStep &)> &watch);

    /// Searches until a PLC is found, everything is tried, or the program is asked to stop.
    /// Requires: called once; `watchStopSignals` was called.
    /// @return StatusOpen when no setting could be opened, or the port broke
    Failure run();

    const QVector<ScanFind> &finds() const { return m_finds; }

    /// In the order of the search.
    const QVector<ScanSetting> &settings() const { return m_settings; }

    /// The wait for a reply under a setting, in milliseconds.
    int waitMs(const ScanSetting &setting) const;

private:
    Failure pass(const QVector<int> &settings, const QVector<int> &stations, int waits);
    Failure look(ScanSetting *setting, const QVector<int> &stations, int waits);
    Failure search(ScanSetting *setting, const QVector<int> &stations, int waits,
                   bool *closeAnswered);
    bool opens(LinkChannel &wire, int station, ScanSetting *setting);
    QByteArray hear(LinkChannel &wire, const QByteArray &line, ScanSetting *setting, double *ms);
    Failure open(ScanSetting *setting, std::unique_ptr<Port> *port) const;
    QVector<int> doubtful() const;
    QVector<int> unsettled() const;
    qint64 lineMs(const ScanSetting &setting, int waits) const;
    bool isOver() const;

    const ScanOptions m_options;
    TraceLog *const m_trace;
    const std::function<void(const ScanStep &)> m_watch;
    QVector<ScanSetting> m_settings;
    QVector<ScanFind> m_finds;
    ScanStep m_step;
};

#endif
