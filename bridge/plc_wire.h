/// The wire to the PLC.
#ifndef BRIDGE_PLC_WIRE_H
#define BRIDGE_PLC_WIRE_H

#include "bridge/event_port.h"
#include "bridge/turn_keeper.h"
#include "runtime/back_off.h"
#include "runtime/failure.h"
#include "runtime/link.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QObject>

#include <map>
#include <memory>

class DeviceChannel;

/// Does one task after the other. While the PLC takes its time, the thread is left to others.
/// A lost port is opened anew by the next tasks, first soon, then less and less often.
class PlcWire : public QObject
{
    Q_OBJECT
public:
    /// The bytes after which a reply is given up: several times the longest one of a driver, which
    /// has 1538.
    enum { MAX_REPLY = 16384 };

    /// The time after which it is given up, in milliseconds: MAX_REPLY / 8 characters take 19 s at
    /// 1200 baud.
    enum { MAX_REPLY_MS = 30000 };

    /// @param options   the port or the connection; port or tcp is not empty
    /// @param timeoutMs how long to wait for the PLC, in milliseconds
    /// @param pauseMs   least time between two turns, in milliseconds
    /// @param wait      waits for input, and meanwhile does all else but calling this object
    PlcWire(const LinkOptions &options, int timeoutMs, int pauseMs, const InputWait &wait);

    ~PlcWire() override;

    /// Opens the port for the first time. Requires: called once. @return StatusUsage or StatusOpen
    Failure start() { return open(); }

    /// Takes a task for `work`. Requires: `start` succeeded, and the task before is done.
    void send(const WireJob &job);

    /// Does the task that was sent, and those that are sent when one is done. Requires: no task is
    /// being done.
    void work();

signals:
    /// The latest task's line goes out, after what had to come first.
    void sending();

    /// A part of the reply to the latest task's line.
    void replied(const QByteArray &bytes);

    /// The latest task is done.
    void done(ExchangeEnd end, bool isReached);

    /// Something for the log. @param isLoss whether the port is lost
    void noted(const QString &text, bool isLoss);

private:
    Q_DISABLE_COPY(PlcWire)

    Failure open();
    bool ensureOpen();
    void pause();
    void checkLoss();
    void perform(const WireJob &job);
    DeviceChannel &channelOf(const QByteArray &station);
    QByteArray receive(DeviceChannel *channel, const QByteArray &station);
    int lateLength(const QByteArray &reply, const QByteArray &station) const;

    const LinkOptions m_options;
    const int m_timeoutMs;
    const int m_pauseMs;
    const InputWait m_wait;
    bool m_hasJob;
    WireJob m_job;
    QString m_name;
    std::unique_ptr<Port> m_port;
    // A channel for each station knows which replies of that station are due, so that one that is
    // absent is not waited for as long as one that has just answered.
    std::map<QByteArray, std::unique_ptr<DeviceChannel>> m_channels;
    QHash<QByteArray, qint64> m_unanswered; // when a station left an open line without a reply
    QElapsedTimer m_clock;
    BackOff m_backOff;
    bool m_hasWorked; // a reply has come since the port was opened
    qint64 m_reopenAtMs;
    qint64 m_latestMs; // when the latest task was done
};

#endif
