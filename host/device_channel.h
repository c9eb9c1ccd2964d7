/// The channel that a runtime lends to a driver, over any port that Qt can wait for.
#ifndef HOST_DEVICE_CHANNEL_H
#define HOST_DEVICE_CHANNEL_H

#include "drivers/abstract_device_interface.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QElapsedTimer>

class QAbstractSocket;
class QIODevice;
class QSerialPort;

/// Bytes in and out of an open port (serial port, socket, ...) with the pacing of one link.
/// Whatever the peer does, no call lasts longer than the link's time-out and the time that a serial
/// port still needs for the line before.
class DeviceChannel : public AbstractDeviceInterface
{
public:
    /// @param port    an open port that outlives the channel and is used by the channel's thread
    /// alone
    /// @param setting pacing of the link: time-out and delay in milliseconds, retries, station
    ///                number; negative times count as 0, a time-out above a day as a day
    DeviceChannel(QIODevice *port, const DriverSetting &setting);

    /// Changes the time-out of the calls to come, in milliseconds; a negative one counts as 0, one
    /// above a day as a day.
    void setTimeout(int ms) { m_timeoutMs = qBound(0, ms, 24 * 60 * 60 * 1000); }

    /// Waits for the first bytes, at most the time-out from when the line before has left a serial
    /// port, and stores what is there.
    /// @return the number of bytes, at most @p maxLength; 0 on time-out, or when the port is closed
    ///         or its peer is gone
    int read(char *buffer, int maxLength) override;

    /// Hands @p length bytes to the operating system, for which it waits at most the time-out. When
    /// that is not enough, a serial port's unsent bytes are thrown away, and a socket is closed:
    /// they must not reach the PLC in front of a later line.
    /// @return the number of bytes handed over; -1 when the port is closed or its peer is gone
    int write(const char *buffer, int length) override;

    /// Code 12 throws away the input that has arrived and was not read. After a failed attempt it
    /// first lets the line come to rest: an answer that is still on its way would be taken for one
    /// to a later line, and every further attempt would leave another one behind.
    /// @return 1; 0 for other codes
    int control(int code, const QVariant &value) override;

    /// Whoever makes the attempts asks for this after one that failed, and only then.
    int getRetry() override;
    int getStationId() override;
    unsigned long getDelay() override;

private:
    bool isBroken() const;
    int restOfLineMs() const;
    void discardInput();
    void letTheLineRest();
    void discardOutput();

    QIODevice *m_port;
    QSerialPort *m_serialPort; // the port, when it is one; else null
    QAbstractSocket *m_socket; // likewise
    DriverSetting m_setting;
    int m_timeoutMs;
    QElapsedTimer m_sinceLine; // since the last line was handed over
    int m_lineMs;              // that it takes to be sent
    bool m_answerDue;          // nothing has come since
    int m_slowestAnswerMs;     // of late
    bool m_attemptFailed;
};

#endif
