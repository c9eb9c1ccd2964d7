// The session with the PLC: open and close lines, replies, and the exchange that brackets a data
// line.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include "drivers/abstract_device_interface.h"

#include <QtCore/QVariant>

#include <cstring>

namespace
{

const int SESSION_BUFFER_SIZE = 8;
const int OPEN_LENGTH = 7;
const int CLOSE_LENGTH = 4;

// The two digits of the open line.
const int MAX_STATION = 99;

const int CONTROL_DISCARD_INPUT = 12;
const QVariant DISCARD_ALL(0); // one for all calls, of which every request makes three

const char NO_RESPONSE[] = "PLC no response";
const char ERROR_RESPONSE[] = "Response During an Error:";
const char INVALID_RESPONSE[] = "invalid response";

// The text of a received line, which ends at its first zero byte.
QString textOf(const char *line, int length)
{
    return QString::fromLatin1(line, static_cast<int>(qstrnlen(line, static_cast<uint>(length))));
}

void discardInput(AbstractDeviceInterface *device)
{
    device->control(CONTROL_DISCARD_INPUT, DISCARD_ALL);
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
                          .arg(QString::number(station), QString::number(MAX_STATION)));
    char line[SESSION_BUFFER_SIZE] = "CR 00\r\n";
    setStation(line, station);
    char reply[SESSION_BUFFER_SIZE] = {};
    if (!sessionStep(device, line, OPEN_LENGTH, reply))
        return 0;
    line[1] = 'C'; // the reply says CC and the same station
    return std::memcmp(reply, line, OPEN_LENGTH) == 0 || failed(QLatin1String(INVALID_RESPONSE));
}

int DriverKV_L20V_HostLink::endComm(AbstractDeviceInterface *device)
{
    char reply[SESSION_BUFFER_SIZE] = {};
    if (!sessionStep(device, "CQ\r\n", CLOSE_LENGTH, reply))
        return 0;
    return std::memcmp(reply, "CF\r\n", CLOSE_LENGTH) == 0 ||
           failed(QLatin1String(INVALID_RESPONSE));
}

// Sends a session line and receives its reply, whose form is still to be looked at, into a buffer
// of SESSION_BUFFER_SIZE.
bool DriverKV_L20V_HostLink::sessionStep(AbstractDeviceInterface *device, const char *line,
                                         int length, char *reply)
{
    discardInput(device);
    device->write(line, length);
    const int received = KV_L20V_ReadUntilLF(device, reply, SESSION_BUFFER_SIZE);
    if (received < 1)
        return failed(QLatin1String(NO_RESPONSE));
    return reply[0] != 'E' || !failedByErrorReply(reply, received);
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

// Records the failure when a reply is an error reply. The pattern defines it; the callers leave out
// replies that do not begin with E and cannot match.
bool DriverKV_L20V_HostLink::failedByErrorReply(const char *reply, int received)
{
    const QString text = textOf(reply, received);
    if (!m_errorRsp.exactMatch(text))
        return false;
    setCommError(QLatin1String(ERROR_RESPONSE) + text);
    return true;
}

// Opens communication, sends the data line and receives its reply into the response buffer. A
// failure sends nothing more, except that an error reply shows a PLC that is still in step and gets
// the close line.
bool DriverKV_L20V_HostLink::ask(AbstractDeviceInterface *device, LineKind kind, const char *line,
                                 int length)
{
    if (!startComm(device))
        return false;
    if (kind == ReadLine)
        discardInput(device);
    device->write(line, length);
    resetRsp();
    if (readRspUntilLF(device) < 1)
        return failed(QLatin1String(NO_RESPONSE));
    if (m_rspBuf[0] != 'E' || !failedByErrorReply(&m_rspBuf[0], rspLen()))
        return true;
    endComm(device);
    return false;
}

// The values of a good reply. The patterns define what is good, but cost far more than everything
// else: the decoder accepts what is certainly good, and leaves every other reply to them.
bool DriverKV_L20V_HostLink::decodeRsp(const ReplyForm &form, char *out)
{
    if (form.decode(&m_rspBuf[0], rspLen(), form.count, out))
        return true;
    const QString text = textOf(&m_rspBuf[0], rspLen());
    if (!form.pattern->exactMatch(text))
        return failed(QLatin1String(form.wrongForm));
    // The first look stopped at or before the text's end: what it stored is stored once more.
    form.decode(&m_rspBuf[0], text.size(), form.count, out);
    return true;
}

// One bracketed read; the result is empty on failure.
QByteArray DriverKV_L20V_HostLink::readItems(AbstractDeviceInterface *device, const char *line,
                                             int length, const ReplyForm &form)
{
    QByteArray data;
    if (ask(device, ReadLine, line, length)) {
        data = QByteArray(form.bytes, '\0');
        if (!decodeRsp(form, data.data()) || !endComm(device))
            data.clear();
    }
    return data;
}

// One bracketed write. A PLC that took words may word its reply as it likes: only an error reply is
// a refusal then.
bool DriverKV_L20V_HostLink::writeItems(AbstractDeviceInterface *device, const char *line,
                                        int length, WriteReply reply)
{
    if (!ask(device, WriteLine, line, length))
        return false;
    if (reply == OkReply && (rspLen() < 4 || std::memcmp(&m_rspBuf[0], "OK\r\n", 4) != 0))
        return failed(QLatin1String(INVALID_RESPONSE));
    return endComm(device) == 1;
}
