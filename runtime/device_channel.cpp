#include "runtime/device_channel.h"

#include "runtime/port.h"

#include <QtCore/QVariant>

#include <cstring>

namespace
{

// A peer that sends without end is not read for longer than so many chunks of 256 bytes.
const int MAX_DISCARD_ROUNDS = 256;

// The least silence after which a wire counts as at rest: some characters at the slowest speed.
const int MIN_REST_MS = 10;

// How long a wait for late replies goes on before it asks whether it may.
const int WAIT_SLICE_MS = 50;

// Nearly always one, at the end.
int countLineEnds(const char *bytes, int length)
{
    int count = 0;
    const char *const end = bytes + length;
    while (bytes != end) {
        const void *const found = std::memchr(bytes, '\n', static_cast<size_t>(end - bytes));
        if (!found)
            break;
        bytes = static_cast<const char *>(found) + 1;
        ++count;
    }
    return count;
}

} // namespace

DeviceChannel::DeviceChannel(Port &port, const DriverSetting &setting)
    : m_port(port), m_setting(setting), m_timeoutMs(0), m_lineSentAtMs(0), m_hasLineEnds(true),
      m_isAnswerDue(false), m_isHeard(false), m_slowestAnswerMs(0), m_attemptFailed(false)
{
    setTimeout(setting.timeout);
}

int DeviceChannel::read(char *buffer, int maxLength)
{
    if (maxLength <= 0 || !(m_port.waitForInput(m_timeoutMs) || waitForRestOfLine()))
        return 0;
    return take(buffer, maxLength);
}

// Goes on with a wait of a time-out that may have begun before the line had left the port.
bool DeviceChannel::waitForRestOfLine()
{
    const qint64 leftMs = m_lineSentAtMs + m_timeoutMs - m_port.nowMs();
    return leftMs > 0 && m_port.waitForInput(leftMs);
}

// What has arrived. Each line end in it answers the oldest line that has no answer; where frames
// have no line ends, anything does.
int DeviceChannel::take(char *buffer, int maxLength)
{
    const int received = m_port.read(buffer, maxLength);
    if (received == 0)
        return 0;
    m_isHeard = true;
    if (m_isAnswerDue) {
        // Forgets by an eighth, or one slow answer would make every later rest as long.
        const qint64 sinceMs = m_openLines.empty() ? m_lineSentAtMs : m_openLines.front();
        m_slowestAnswerMs =
            qMax(m_slowestAnswerMs - (m_slowestAnswerMs + 7) / 8, m_port.nowMs() - sinceMs);
        m_isAnswerDue = false;
    }
    const int answers = m_hasLineEnds ? countLineEnds(buffer, received) : 1;
    if (answers < static_cast<int>(m_openLines.size()))
        m_openLines.erase(m_openLines.begin(), m_openLines.begin() + answers);
    else
        m_openLines.clear();
    return received;
}

int DeviceChannel::write(const char *buffer, int length)
{
    const int sent = m_port.write(buffer, length, m_timeoutMs);
    if (sent < 0)
        return -1;
    m_lineSentAtMs = m_port.nowMs() + m_port.transmissionMs(sent);
    m_isAnswerDue = true;
    m_hasLineEnds = length >= 2 && std::memcmp(buffer + length - 2, "\r\n", 2) == 0;
    if (sent == length)
        m_openLines.push_back(m_lineSentAtMs);
    return sent;
}

// The operating system takes a line at once, and sends it as fast as the port is.
qint64 DeviceChannel::restOfLineMs() const
{
    return qMax<qint64>(0, m_lineSentAtMs - m_port.nowMs());
}

int DeviceChannel::control(int code, const QVariant &)
{
    if (code != AbstractDeviceInterface::DiscardInput)
        return 0;
    forgetOldLines();
    if (m_isHeard && !m_openLines.empty()) {
        m_isHeard = false;
        awaitReplies();
    }
    if (m_attemptFailed)
        letTheWireRest();
    m_attemptFailed = false;
    if (m_port.waitForInput(0))
        discardInput();
    return 1;
}

// Throws away the input that there is, which is rare.
__attribute__((cold)) void DeviceChannel::discardInput()
{
    char bytes[256];
    int rounds = 0;
    do {
        const bool isLate = !m_openLines.empty();
        noteStray(bytes, take(bytes, sizeof bytes), isLate);
    } while (++rounds < MAX_DISCARD_ROUNDS && m_port.waitForInput(0));
}

qint64 DeviceChannel::latestReplyMs() const
{
    return LATEST_REPLY_TIMEOUTS * qint64(m_timeoutMs);
}

void DeviceChannel::forgetOldLines()
{
    while (!m_openLines.empty() && m_port.nowMs() - m_openLines.front() >= latestReplyMs())
        m_openLines.erase(m_openLines.begin());
}

// A line that goes out before the reply to the one before has come gets that reply, the next line
// gets its, and so on: the values of one address are taken for those of another.
void DeviceChannel::awaitReplies()
{
    for (forgetOldLines(); !m_openLines.empty() && !m_port.isBroken() && mayWait();
         forgetOldLines()) {
        const qint64 leftMs = m_openLines.back() + latestReplyMs() - m_port.nowMs();
        if (m_port.waitForInput(qMin<qint64>(leftMs, WAIT_SLICE_MS)))
            discardInput();
    }
    m_openLines.clear();
}

// A reply that was no answer to the last line may be an old one: the answer then comes about as
// soon as others did. The whole takes no longer than a read.
void DeviceChannel::letTheWireRest()
{
    const qint64 restMs = qMin<qint64>(2 * m_slowestAnswerMs + MIN_REST_MS, m_timeoutMs);
    const qint64 endMs = m_port.nowMs() + m_timeoutMs + restOfLineMs();
    qint64 leftMs = endMs - m_port.nowMs();
    while (leftMs > 0 && !m_port.isBroken() && mayWait() &&
           m_port.waitForInput(qMin(restMs + restOfLineMs(), leftMs))) {
        discardInput();
        leftMs = endMs - m_port.nowMs();
    }
}

void DeviceChannel::noteFailedAttempt()
{
    m_attemptFailed = true;
}

int DeviceChannel::getRetry()
{
    noteFailedAttempt();
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
