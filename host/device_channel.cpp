#include "host/device_channel.h"

#include "host/serial_port.h"

#include <QtCore/QIODevice>
#include <QtCore/QVariant>
#include <QtNetwork/QAbstractSocket>
#include <QtSerialPort/QSerialPort>

namespace
{

const int CONTROL_DISCARD_INPUT = 12;

// One round empties a port's buffers; a peer that sends without end gets no more rounds than these.
const int MAX_DISCARD_ROUNDS = 16;

// The least silence after which a line counts as at rest: some characters at the slowest speed.
const int MIN_REST_MS = 10;

} // namespace

DeviceChannel::DeviceChannel(QIODevice *port, const DriverSetting &setting)
    : m_port(port), m_serialPort(qobject_cast<QSerialPort *>(port)),
      m_socket(qobject_cast<QAbstractSocket *>(port)), m_setting(setting), m_timeoutMs(0),
      m_lineMs(0), m_answerDue(false), m_slowestAnswerMs(0), m_attemptFailed(false)
{
    setTimeout(setting.timeout);
}

// A socket that has lost its peer stays open. It is left alone: any further call on it would
// replace the reason of the loss, which people are to be told.
bool DeviceChannel::isBroken() const
{
    return !m_port->isOpen() || (m_socket && m_socket->state() != QAbstractSocket::ConnectedState);
}

int DeviceChannel::read(char *buffer, int maxLength)
{
    if (!m_port->isOpen() || maxLength <= 0)
        return 0;
    if (m_port->bytesAvailable() <= 0 &&
        (isBroken() || !m_port->waitForReadyRead(m_timeoutMs + restOfLineMs())))
        return 0;
    if (m_answerDue) {
        // Forgets by an eighth, or one slow answer would make every later rest as long.
        m_slowestAnswerMs = qMax(m_slowestAnswerMs - (m_slowestAnswerMs + 7) / 8,
                                 static_cast<int>(m_sinceLine.elapsed()) - m_lineMs);
        m_answerDue = false;
    }
    return static_cast<int>(qMax<qint64>(0, m_port->read(buffer, maxLength)));
}

int DeviceChannel::write(const char *buffer, int length)
{
    if (isBroken() || m_port->write(buffer, length) < length)
        return -1;
    QElapsedTimer waiting;
    waiting.start();
    qint64 pending = m_port->bytesToWrite();
    while (pending > 0) {
        const qint64 leftMs = m_timeoutMs - waiting.elapsed();
        if (leftMs < 0 || !m_port->waitForBytesWritten(static_cast<int>(leftMs)))
            break;
        pending = m_port->bytesToWrite();
    }
    if (pending > 0)
        discardOutput();
    const int sent = length - static_cast<int>(qMin<qint64>(pending, length));
    m_sinceLine.start();
    m_lineMs = m_serialPort ? transmissionMs(*m_serialPort, sent) : 0;
    m_answerDue = true;
    return sent;
}

// The operating system takes a line at once, and sends it as fast as the port is.
int DeviceChannel::restOfLineMs() const
{
    return m_lineMs == 0 ? 0 : qMax(0, m_lineMs - static_cast<int>(m_sinceLine.elapsed()));
}

int DeviceChannel::control(int code, const QVariant &)
{
    if (code != CONTROL_DISCARD_INPUT)
        return 0;
    if (m_port->isOpen()) {
        if (m_attemptFailed)
            letTheLineRest();
        discardInput();
    }
    return 1;
}

// What the port has buffered, and what still waits in the kernel. Before nearly every line there is
// nothing, which one poll of a serial port tells for far less than a wait of Qt.
void DeviceChannel::discardInput()
{
    if (m_serialPort && isIdle(*m_serialPort))
        return;
    for (int round = 0; round < MAX_DISCARD_ROUNDS; ++round) {
        m_port->skip(m_port->bytesAvailable());
        if (isBroken() || !m_port->waitForReadyRead(0))
            break;
    }
    m_port->skip(m_port->bytesAvailable());
}

// Nothing tells which line a reply belongs to, but an answer that is still due comes about as soon
// as others did. The whole takes no longer than a read.
void DeviceChannel::letTheLineRest()
{
    const int restMs = qMin(2 * m_slowestAnswerMs + MIN_REST_MS, m_timeoutMs);
    QElapsedTimer waiting;
    waiting.start();
    const int longestMs = m_timeoutMs + restOfLineMs();
    int leftMs = longestMs;
    while (leftMs > 0 && !isBroken() &&
           m_port->waitForReadyRead(qMin(restMs + restOfLineMs(), leftMs))) {
        m_port->skip(m_port->bytesAvailable());
        leftMs = longestMs - static_cast<int>(waiting.elapsed());
    }
    m_attemptFailed = false;
}

// A socket cannot take a part of a line back.
void DeviceChannel::discardOutput()
{
    if (m_serialPort)
        m_serialPort->clear(QSerialPort::Output);
    if (m_socket)
        m_socket->abort();
}

int DeviceChannel::getRetry()
{
    m_attemptFailed = true;
    return m_setting.retry;
}

int DeviceChannel::getStationId()
{
    return m_setting.stationid;
}

unsigned long DeviceChannel::getDelay()
{
    return static_cast<unsigned long>(qMax(0, m_setting.delay));
}
