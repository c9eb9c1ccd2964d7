// One line and its reply: the open and close lines, and the reply of a data line.
#include "drivers/kv_l20v_host_link/kv_l20v_exchange.h"

#include "drivers/abstract_device_interface.h"
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"

#include <QtCore/QVariant>

#include <cstring>

namespace
{

// Of the open and close lines and of their replies.
const int BUFFER_SIZE = 8;
const int OPEN_LENGTH = 7;
const int CLOSE_LENGTH = 4;

const QVariant DISCARD_ALL(0); // one for all calls, of which every request makes three

const char NO_RESPONSE[] = "PLC no response";
const char ERROR_RESPONSE[] = "Response During an Error:";
const char INVALID_RESPONSE[] = "invalid response";

// Puts a station number of 0 to 99 in the place of an open line's two digits.
void setStation(char *line, unsigned int station)
{
    line[3] = static_cast<char>('0' + station / 10);
    line[4] = static_cast<char>('0' + station % 10);
}

// Goes on after a first chunk of so many bytes, until a chunk ends in LF, the buffer is full or
// nothing more comes. Waiting is the channel's business. A channel that claims more bytes than asked
// for counts as having stored those asked for: no reply overruns the buffer.
KV_L20V_RARE int readRestUntilLF(AbstractDeviceInterface *device, char *buffer, int size, int count)
{
    int received = 0;
    while (count > 0) {
        received += qMin(count, size - received);
        if (received == size || buffer[received - 1] == '\n')
            break;
        count = device->read(buffer + received, size - received);
    }
    return received;
}

// Receives a line, which nearly always comes in one chunk.
inline int KV_L20V_ReadUntilLF(AbstractDeviceInterface *device, char *buffer, int size)
{
    const int count = device->read(buffer, size);
    const bool isLine = count > 0 && count < size && buffer[count - 1] == '\n';
    return isLine ? count : readRestUntilLF(device, buffer, size, count);
}

// Makes the exchange of an open or close line, into a reply buffer of BUFFER_SIZE zeros.
// Returns how many bytes were received.
int exchange(AbstractDeviceInterface *device, const char *line, int length, char *reply)
{
    KV_L20V_DiscardInput(device);
    device->write(line, length);
    return KV_L20V_ReadUntilLF(device, reply, BUFFER_SIZE);
}

} // namespace

void KV_L20V_DiscardInput(AbstractDeviceInterface *device)
{
    device->control(AbstractDeviceInterface::DiscardInput, DISCARD_ALL);
}

int KV_L20V_SendReadLine(AbstractDeviceInterface *device, const char *line, int length)
{
    KV_L20V_DiscardInput(device);
    return device->write(line, length);
}

QString KV_L20V_TextOf(const char *reply, int length)
{
    return QString::fromLatin1(reply, static_cast<int>(qstrnlen(reply, static_cast<uint>(length))));
}

// Opens the communication. A station outside 0 to 99 is refused before anything is sent: the line
// has two digits. A reply of 8 bytes has no terminating zero; it counts as these 8 bytes.
int DriverKV_L20V_HostLink::startComm(AbstractDeviceInterface *device)
{
    const int station = device->getStationId();
    if (station < 0 || station > KV_L20V_MAX_STATION)
        return refuseStation(station);
    char line[BUFFER_SIZE] = "CR 00\r\n";
    setStation(line, static_cast<unsigned int>(station));
    char reply[BUFFER_SIZE] = {};
    const int received = exchange(device, line, OPEN_LENGTH, reply);
    line[1] = 'C'; // the reply says CC and the same station
    const bool isOpened = received > 0 && std::memcmp(reply, line, OPEN_LENGTH) == 0;
    return isOpened || failedByReply(reply, received);
}

int DriverKV_L20V_HostLink::endComm(AbstractDeviceInterface *device)
{
    char reply[BUFFER_SIZE] = {};
    const int received = exchange(device, "CQ\r\n", CLOSE_LENGTH, reply);
    const bool isClosed = received > 0 && std::memcmp(reply, "CF\r\n", CLOSE_LENGTH) == 0;
    return isClosed || failedByReply(reply, received);
}

// Records why an open or close line has failed.
bool DriverKV_L20V_HostLink::failedByReply(const char *reply, int received)
{
    if (received < 1)
        setCommError(QLatin1String(NO_RESPONSE));
    else if (!failedByErrorReply(reply, received))
        setCommError(QLatin1String(INVALID_RESPONSE));
    return false;
}

void DriverKV_L20V_HostLink::resetRsp()
{
    if (m_rspLen > 0)
        std::memset(&m_rspBuf[0], 0, static_cast<size_t>(m_rspLen));
    m_rspLen = 0;
}

int DriverKV_L20V_HostLink::readRspUntilLF(AbstractDeviceInterface *device)
{
    m_rspLen = KV_L20V_ReadUntilLF(device, &m_rspBuf[0], KV_L20V_RESPONSE_BUFFER_SIZE);
    return m_rspLen;
}

const DriverKV_L20V_HostLink::Form DriverKV_L20V_HostLink::ERROR_FORM = {
    &DriverKV_L20V_HostLink::m_errorRsp, "E\\d\\x0D\\x0A", Qt::CaseSensitive};

// Whether a reply is a text of a form.
bool DriverKV_L20V_HostLink::hasForm(const Form &form, const char *reply, int length)
{
    QRegExp &pattern = this->*form.pattern;
    if (pattern.isEmpty())
        pattern = QRegExp(QLatin1String(form.text), form.caseSensitivity, QRegExp::RegExp);
    return pattern.exactMatch(KV_L20V_TextOf(reply, length));
}

// Records the failure when a reply is a refusal.
bool DriverKV_L20V_HostLink::failedByErrorReply(const char *reply, int received)
{
    if (!hasForm(ERROR_FORM, reply, received))
        return false;
    setCommError(QLatin1String(ERROR_RESPONSE) + KV_L20V_TextOf(reply, received));
    return true;
}

// Receives the reply of a data line into the response buffer. A refusal shows a PLC that is still
// in step, so it gets the close line; after silence nothing more is sent. When that close fails,
// its text replaces the refusal's: the user has to repair the wire first.
bool DriverKV_L20V_HostLink::receiveRsp(AbstractDeviceInterface *device)
{
    resetRsp();
    if (readRspUntilLF(device) < 1)
        return failed(NO_RESPONSE);
    if (m_rspBuf[0] != 'E' || !failedByErrorReply(&m_rspBuf[0], rspLen()))
        return true;
    endComm(device);
    return false;
}

// Takes a write's reply. Words are taken as accepted by any reply that is not a refusal.
bool DriverKV_L20V_HostLink::receiveAcceptance(AbstractDeviceInterface *device, Acceptance wanted)
{
    if (!receiveRsp(device))
        return false;
    if (wanted == OkReply && (rspLen() < 4 || std::memcmp(&m_rspBuf[0], "OK\r\n", 4) != 0))
        return failed(INVALID_RESPONSE);
    return endComm(device) == 1;
}
