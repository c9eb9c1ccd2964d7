// The session with the PLC: open and close lines, replies, and the exchange that brackets a data
// line.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include "drivers/abstract_device_interface.h"

#include <QtCore/QVariant>

#include <cstring>

namespace
{

const int SESSION_BUFFER_SIZE = 8;

// The two digits of the open line.
const int MAX_STATION = 99;

const int CONTROL_DISCARD_INPUT = 12;

const char NO_RESPONSE[] = "PLC no response";
const char ERROR_RESPONSE[] = "Response During an Error:";
const char INVALID_RESPONSE[] = "invalid response";

// The text of a received line ends at its first zero byte.
int textLength(const char *line, int length)
{
    const void *end = std::memchr(line, '\0', static_cast<size_t>(length));
    return end ? static_cast<int>(static_cast<const char *>(end) - line) : length;
}

void discardInput(AbstractDeviceInterface *device)
{
    device->control(CONTROL_DISCARD_INPUT, QVariant(0));
}

// Puts a station number of 0 to 99 in the place of an open line's two digits.
void setStation(char *line, int station)
{
    line[3] = static_cast<char>('0' + station / 10);
    line[4] = static_cast<char>('0' + station % 10);
}

// Receives until a chunk ends in LF, the buffer is full or nothing more comes. Waiting is the
// channel's business.
int KV_L20V_ReadUntilLF(AbstractDeviceInterface *device, char *buffer, int size)
{
    int received = 0;
    do {
        const int room = size - received;
        const int count = device->read(buffer + received, room);
        if (count <= 0)
            break;
        received += qMin(count, room);
    } while (received < size && buffer[received - 1] != '\n');
    return received;
}

} // namespace

int DriverKV_L20V_HostLink::startComm(AbstractDeviceInterface *device)
{
    const int station = device->getStationId();
    if (station < 0 || station > MAX_STATION)
        return failed(QString::fromLatin1("station number %1 is not in 0 to %2")
                          .arg(station)
                          .arg(MAX_STATION));
    char line[SESSION_BUFFER_SIZE] = "CR 00\r\n";
    char expected[SESSION_BUFFER_SIZE] = "CC 00\r\n";
    setStation(line, station);
    setStation(expected, station);
    return sessionStep(device, line, expected);
}

int DriverKV_L20V_HostLink::endComm(AbstractDeviceInterface *device)
{
    return sessionStep(device, "CQ\r\n", "CF\r\n");
}

int DriverKV_L20V_HostLink::sessionStep(AbstractDeviceInterface *device, const char *line,
                                        const char *expected)
{
    discardInput(device);
    device->write(line, static_cast<int>(std::strlen(line)));
    char reply[SESSION_BUFFER_SIZE] = {};
    const int received = KV_L20V_ReadUntilLF(device, reply, SESSION_BUFFER_SIZE);
    if (received < 1)
        return failed(QLatin1String(NO_RESPONSE));
    QString errorReply;
    if (isErrorReply(reply, textLength(reply, received), &errorReply))
        return failed(QLatin1String(ERROR_RESPONSE) + errorReply);
    if (std::memcmp(reply, expected, std::strlen(expected)) != 0)
        return failed(QLatin1String(INVALID_RESPONSE));
    return 1;
}

void DriverKV_L20V_HostLink::resetRsp()
{
    if (m_rspLen > 0)
        std::memset(&m_rspBuf[0], 0, static_cast<size_t>(m_rspLen));
    m_rspLen = 0;
}

int DriverKV_L20V_HostLink::readRspUntilLF(AbstractDeviceInterface *device)
{
    m_rspLen = KV_L20V_ReadUntilLF(device, &m_rspBuf[0], static_cast<int>(m_rspBuf.size()));
    return m_rspLen;
}

int DriverKV_L20V_HostLink::rspTextLength() const
{
    return textLength(&m_rspBuf[0], m_rspLen);
}

QString DriverKV_L20V_HostLink::rspText() const
{
    return QString::fromLatin1(&m_rspBuf[0], rspTextLength());
}

// The pattern defines an error reply; no text that begins with another letter can match it.
bool DriverKV_L20V_HostLink::isErrorReply(const char *line, int length, QString *text) const
{
    if (length == 0 || line[0] != 'E')
        return false;
    *text = QString::fromLatin1(line, length);
    return m_errorRsp.exactMatch(*text);
}

// The patterns define a good reply, but cost far more than everything else: a plain look accepts
// what is certainly good, and leaves every other reply to them.
bool DriverKV_L20V_HostLink::hasForm(const ReplyForm &form) const
{
    switch (form.check) {
    case ReplyForm::Pattern:
        return form.isCertain(&m_rspBuf[0], rspTextLength()) || form.pattern->exactMatch(rspText());
    case ReplyForm::OkLine:
        return std::memcmp(&m_rspBuf[0], "OK\r\n", 4) == 0;
    default:
        return true;
    }
}

// One bracketed exchange. A failure before or at the data line's reply sends nothing more, except
// that an error reply shows a PLC that is still in step and gets the close line.
bool DriverKV_L20V_HostLink::exchange(AbstractDeviceInterface *device, LineKind kind,
                                      const char *line, int length, const ReplyForm &form)
{
    if (!startComm(device))
        return false;
    if (kind == ReadLine)
        discardInput(device);
    device->write(line, length);
    resetRsp();
    if (readRspUntilLF(device) < 1)
        return failed(QLatin1String(NO_RESPONSE));
    QString errorReply;
    if (isErrorReply(&m_rspBuf[0], rspTextLength(), &errorReply)) {
        setCommError(QLatin1String(ERROR_RESPONSE) + errorReply);
        endComm(device);
        return false;
    }
    if (!hasForm(form))
        return failed(QLatin1String(form.wrongForm));
    return endComm(device) == 1;
}
