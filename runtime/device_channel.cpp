#include "runtime/device_channel.h"

#include "runtime/port_error.h"
#include "runtime/serial_port.h"

#include <QtCore/QIODevice>
#include <QtCore/QVariant>
#include <QtNetwork/QAbstractSocket>
#include <QtSerialPort/QSerialPort>

#include <algorithm>
#include <climits>

namespace
{

const int CONTROL_DISCARD_INPUT = 12;

// One round empties a port's buffers; a peer that sends without end gets no more rounds than these.
const int MAX_DISCARD_ROUNDS = 16;

// The least silence after which a wire counts as at rest: some characters at the slowest speed.
const int MIN_REST_MS = 10;

// A reply that comes later than so many time-outs after its line is not waited for.
const int LATEST_REPLY_TIMEOUTS = 5;

// How long a wait for late replies goes on before it asks whether it may.
const int WAIT_SLICE_MS = 50;

} // namespace

DeviceChannel::DeviceChannel(QIODevice *port, const DriverSetting &setting)
    : m_port(port), m_serialPort(qobject_cast<QSerialPort *>(port)),
      m_socket(qobject_cast<QAbstractSocket *>(port)), m_setting(setting), m_timeoutMs(0),
      m_lineSentAtMs(0), m_isAnswerDue(false), m_isHeard(false), m_slowestAnswerMs(0),
      m_attemptFailed(false)
{
    setTimeout(setting.timeout);
    m_clock.start();
}

qint64 DeviceChannel::nowMs() const
{
    return m_clock.elapsed();
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
        (isBroken() || !waitForInput(m_timeoutMs + restOfLineMs())))
        return 0;
    return take(buffer, maxLength);
}

bool DeviceChannel::waitForInput(qint64 ms)
{
    return m_port->waitForReadyRead(static_cast<int>(qBound<qint64>(0, ms, INT_MAX)));
}

// What has arrived. Each line end in it answers the oldest line that has no answer.
int DeviceChannel::take(char *buffer, int maxLength)
{
    const int received = static_cast<int>(qMax<qint64>(0, m_port->read(buffer, maxLength)));
    if (received == 0)
        return 0;
    m_isHeard = true;
    if (m_isAnswerDue) {
        // Forgets by an eighth, or one slow answer would make every later rest as long.
        const qint64 sinceMs = m_openLines.isEmpty() ? m_lineSentAtMs : m_openLines.first();
        m_slowestAnswerMs =
            qMax(m_slowestAnswerMs - (m_slowestAnswerMs + 7) / 8, nowMs() - sinceMs);
        m_isAnswerDue = false;
    }
    const int lines = static_cast<int>(std::count(buffer, buffer + received, '\n'));
    m_openLines.remove(0, qMin(lines, m_openLines.size()));
    return received;
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
    m_lineSentAtMs = nowMs() + (m_serialPort ? transmissionMs(*m_serialPort, sent) : 0);
    m_isAnswerDue = true;
    if (sent == length)
        m_openLines.append(m_lineSentAtMs);
    return sent;
}

// The operating system takes a line at once, and sends it as fast as the port is.
int DeviceChannel::restOfLineMs() const
{
    return static_cast<int>(qMax<qint64>(0, m_lineSentAtMs - nowMs()));
}

int DeviceChannel::control(int code, const QVariant &)
{
    if (code != CONTROL_DISCARD_INPUT)
        return 0;
    if (m_port->isOpen()) {
        if (!m_openLines.isEmpty())
            awaitOpenLines();
        if (m_attemptFailed)
            letTheWireRest();
        m_attemptFailed = false;
        discardInput();
    }
    return 1;
}

void DeviceChannel::skipInput()
{
    char bytes[256];
    for (int round = 0; round < MAX_DISCARD_ROUNDS && take(bytes, sizeof bytes) > 0; ++round) {
    }
    m_port->skip(m_port->bytesAvailable());
}

// What the port has buffered, and what still waits in the kernel. Before nearly every line there is
// nothing, which one poll of a serial port tells for far less than a wait of Qt.
void DeviceChannel::discardInput()
{
    if (m_serialPort && isIdle(*m_serialPort))
        return;
    for (int round = 0; round < MAX_DISCARD_ROUNDS; ++round) {
        skipInput();
        if (isBroken() || !waitForInput(0))
            break;
    }
    skipInput();
}

// A line that goes out before the reply to the one before has come gets that reply, the next line
// gets its, and so on: the values of one address are taken for those of another.
void DeviceChannel::awaitOpenLines()
{
    const qint64 latestMs = qint64(LATEST_REPLY_TIMEOUTS) * m_timeoutMs;
    while (!m_openLines.isEmpty() && nowMs() - m_openLines.first() >= latestMs)
        m_openLines.remove(0);
    if (!m_isHeard)
        return;
    m_isHeard = m_openLines.isEmpty();
    while (!m_openLines.isEmpty() && brokenPortText(*m_port).isEmpty() && mayWait()) {
        const qint64 leftMs = m_openLines.last() + latestMs - nowMs();
        if (leftMs <= 0)
            break;
        if (m_port->bytesAvailable() > 0 || waitForInput(qMin<qint64>(leftMs, WAIT_SLICE_MS)))
            skipInput();
    }
    m_openLines.clear();
}

// A reply that was no answer to the last line may be an old one: the answer then comes about as
// soon as others did. The whole takes no longer than a read.
void DeviceChannel::letTheWireRest()
{
    const qint64 restMs = qMin<qint64>(2 * m_slowestAnswerMs + MIN_REST_MS, m_timeoutMs);
    const qint64 endMs = nowMs() + m_timeoutMs + restOfLineMs();
    qint64 leftMs = endMs - nowMs();
    while (leftMs > 0 && !isBroken() && mayWait() &&
           waitForInput(qMin(restMs + restOfLineMs(), leftMs))) {
        skipInput();
        leftMs = endMs - nowMs();
    }
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
