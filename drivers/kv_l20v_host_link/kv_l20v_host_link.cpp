// A request's way: attempts, the check of what is refused, the steps of a read and of a write.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include "drivers/abstract_device_interface.h"
#include "drivers/kv_l20v_host_link/kv_l20v_exchange.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"
#include "tools/tools.h"

#include <climits>
#include <cstring>
#include <new>

namespace
{

// Of a reply: a contact and two numbers an item.
const char TIMER_ITEMS[] = "[01],\\d{10},\\d{10}(?: [01],\\d{10},\\d{10})*\\x0D\\x0A";

// Made beforehand: memory is short when it is needed.
const QString OUT_OF_MEMORY = QLatin1String("out of memory");

// A request of another kind than these does nothing, and no error is recorded.
bool isOfBytes(CommandKind kind)
{
    return kind == Byte || kind == Word || kind == DoubleWord || kind == Block;
}

bool isOfBits(CommandKind kind)
{
    return kind == Bit || kind == BitBlock;
}

int bytesOf(unsigned int valueBits, int values)
{
    return static_cast<int>((valueBits * static_cast<unsigned int>(values) + 7) / 8);
}

void zeroBehind(QByteArray *data, int length)
{
    std::memset(data->data() + length, 0, static_cast<size_t>(data->size() - length));
}

// Requires: the address and the count have no more than KV_L20V_CONTINUOUS_READ_FIELDS characters.
void KV_L20V_HostLinkSendContinuousReadDataCmd(AbstractDeviceInterface *device,
                                               const QByteArray &address, int count)
{
    char line[KV_L20V_CONTINUOUS_READ_BUFFER_SIZE];
    const int length = KV_L20V_HostLinkPackContinuousReadDataCmd(line, address, count);
    KV_L20V_SendReadLine(device, line, length);
}

} // namespace

// A read of more items than a reply holds is sent, as the PLC may answer with fewer; a longer reply
// is cut and fails its form. A read of 0 words is sent with the count 0 and gives nothing.
QByteArray DriverKV_L20V_HostLink::read(AbstractDeviceInterface *device,
                                        const CommunicatorCommand &command)
{
    QByteArray result = readOnce(device, command);
    for (int attempt = 0; isToRepeat(device, attempt); ++attempt)
        result = readOnce(device, command);
    return result;
}

int DriverKV_L20V_HostLink::write(AbstractDeviceInterface *device,
                                  const CommunicatorCommand &command, const QByteArray &data)
{
    int result = writeOnce(device, command, data);
    for (int attempt = 0; isToRepeat(device, attempt); ++attempt)
        result = writeOnce(device, command, data);
    return result;
}

// A delay of 0 does not sleep: a sleep of 0 ms still costs a system call and a timer tick.
void DriverKV_L20V_HostLink::beginAttempt(AbstractDeviceInterface *device)
{
    const unsigned long delayMs = device->getDelay();
    if (delayMs > 0)
        ThreadSleep::msleep(delayMs);
    clearError();
}

// Whether the attempt with this number (from 0) is to be followed by another one.
bool DriverKV_L20V_HostLink::isToRepeat(AbstractDeviceInterface *device, int attempt)
{
    return hasError() && attempt < device->getRetry();
}

// One function to the compiler, with all its steps.
__attribute__((flatten)) QByteArray
DriverKV_L20V_HostLink::readOnce(AbstractDeviceInterface *device,
                                 const CommunicatorCommand &command)
{
    beginAttempt(device);
    try {
        if (isOfBytes(command.kind))
            return readBytes(device, command.address, command.byteLength());
        if (isOfBits(command.kind))
            return readBits(device, command);
    } catch (const std::bad_alloc &) {
        setCommError(OUT_OF_MEMORY);
    }
    return QByteArray();
}

int DriverKV_L20V_HostLink::writeOnce(AbstractDeviceInterface *device,
                                      const CommunicatorCommand &command, const QByteArray &data)
{
    beginAttempt(device);
    try {
        if (isOfBytes(command.kind))
            return writeBytes(device, command, data);
        if (isOfBits(command.kind))
            return writeBitKinds(device, command, data);
    } catch (const std::bad_alloc &) {
        setCommError(OUT_OF_MEMORY);
    }
    return 0;
}

QByteArray DriverKV_L20V_HostLink::readBytes(AbstractDeviceInterface *device,
                                             const QString &addressText, int byteLength)
{
    if (!checkDataLength(byteLength))
        return QByteArray();
    const QByteArray &address = takeAddress(addressText);
    if (!KV_L20V_HexWordDataFormat(*m_row))
        return readUInt32s(device, addressText, byteLength);
    if (!takeWordAddress(address) || !startComm(device))
        return QByteArray();
    const unsigned int words = NumOfBytesToNumOfWords(static_cast<unsigned int>(byteLength));
    sendReadHexWordsCmd(device, address, words);
    return receiveItems(device, KV_L20V_HexWords, static_cast<int>(words), byteLength);
}

// The devices that are read in ten-digit numbers: values alone, or timer items.
QByteArray DriverKV_L20V_HostLink::readUInt32s(AbstractDeviceInterface *device,
                                               const QString &addressText, int byteLength)
{
    if (!checkCarriedAddress(addressText))
        return QByteArray();
    dropPresetLetter();
    const unsigned int count = NumOfBytesToNumOfDWords(static_cast<unsigned int>(byteLength));
    return continuousRead(device, m_row->forms.read, static_cast<int>(count), byteLength);
}

QByteArray DriverKV_L20V_HostLink::readBits(AbstractDeviceInterface *device,
                                            const CommunicatorCommand &command)
{
    const QByteArray &address = takeAddress(command.address);
    const unsigned int bytes = NumOfBitsToNumOfBytes(0, command.count);
    if (!checkDataLength(bytes) || !checkCarriedAddress(command.address))
        return QByteArray();
    return continuousRead(device, KV_L20V_BitForm(*m_row, address), static_cast<int>(command.count),
                          static_cast<int>(bytes));
}

// Reads items of the address at hand, which the line carries as it stands.
QByteArray DriverKV_L20V_HostLink::continuousRead(AbstractDeviceInterface *device,
                                                  KV_L20V_Form form, int count, int byteLength)
{
    if (m_address.size() + KV_L20V_DecimalDigits(count) > KV_L20V_CONTINUOUS_READ_FIELDS) {
        refuseReadLine(count);
        return QByteArray();
    }
    if (!startComm(device))
        return QByteArray();
    KV_L20V_HostLinkSendContinuousReadDataCmd(device, m_address, count);
    return receiveItems(device, form, count, byteLength);
}

// Requires: takeWordAddress. Returns what the channel's write returned.
int DriverKV_L20V_HostLink::sendReadHexWordsCmd(AbstractDeviceInterface *device, const QByteArray &,
                                                uint words)
{
    const int length =
        KV_L20V_HostLinkPackRDSWordsCmd(&m_cmdBuf[0], m_words, static_cast<int>(words));
    return KV_L20V_SendReadLine(device, &m_cmdBuf[0], length);
}

// Receives the reply of a read and closes. The result is the values of so many items, cut to a
// length in bytes; items that the reply does not supply are 0. It is empty on failure.
QByteArray DriverKV_L20V_HostLink::receiveItems(AbstractDeviceInterface *device, KV_L20V_Form form,
                                                int count, int byteLength)
{
    if (!receiveRsp(device))
        return QByteArray();
    return takeItems(device, form, count, byteLength);
}

QByteArray DriverKV_L20V_HostLink::takeItems(AbstractDeviceInterface *device, KV_L20V_Form form,
                                             int count, int byteLength)
{
    const unsigned int valueBits = REPLY_FORMS[form].valueBits;
    const int bytes = bytesOf(valueBits, count);
    QByteArray data(bytes, Qt::Uninitialized);
    if (valueBits == 1) // they are added to their bytes
        zeroBehind(&data, 0);
    const int stored = form == KV_L20V_HexWords ? hexWordsRspToByteArray(data)
                                                : decodeRsp(form, count, data.data());
    if (m_hasError || !endComm(device)) {
        data.clear();
        return data;
    }
    if (stored < count)
        zeroBehind(&data, bytesOf(valueBits, stored));
    if (bytes != byteLength)
        data.truncate(byteLength);
    return data;
}

// Puts the words of the reply into an array of as many as were asked for.
int DriverKV_L20V_HostLink::hexWordsRspToByteArray(QByteArray &words)
{
    return decodeRsp(KV_L20V_HexWords, words.size() / 2, words.data());
}

const DriverKV_L20V_HostLink::ReplyForm DriverKV_L20V_HostLink::REPLY_FORMS[] = {
    {{&DriverKV_L20V_HostLink::m_bitsRsp, "[01](?: [01])*\\x0D\\x0A", Qt::CaseSensitive},
     KV_L20V_BitsOf,
     1,
     "invalid response2"},
    {{&DriverKV_L20V_HostLink::m_timerCounterRsp, TIMER_ITEMS, Qt::CaseSensitive},
     KV_L20V_ContactsOf,
     1,
     "invalid response3"},
    {{&DriverKV_L20V_HostLink::m_hexWordsRsp, "^[\\da-f]{4}(?: [\\da-f]{4})*\\r\\n$",
      Qt::CaseInsensitive},
     KV_L20V_HexWordsOf,
     16,
     "invalid response:"},
    {{&DriverKV_L20V_HostLink::m_dec10Rsp, "\\d{10}(?: \\d{10})*\\x0D\\x0A", Qt::CaseSensitive},
     KV_L20V_NumbersOf,
     32,
     "invalid response"},
    {{&DriverKV_L20V_HostLink::m_timerCounterRsp, TIMER_ITEMS, Qt::CaseSensitive},
     KV_L20V_CurrentsOf,
     32,
     "invalid response"},
    {{&DriverKV_L20V_HostLink::m_timerCounterRsp, TIMER_ITEMS, Qt::CaseSensitive},
     KV_L20V_PresetsOf,
     32,
     "invalid response"},
};

// Stores up to so many values of the reply, and records a wrong form. Nearly every reply is a text of
// the form and nothing else; what the decoder refuses is looked at again.
// Returns how many were stored.
int DriverKV_L20V_HostLink::decodeRsp(KV_L20V_Form form, int count, char *out)
{
    static_assert(sizeof REPLY_FORMS / sizeof *REPLY_FORMS == KV_L20V_Refused, "a form has no row");
    const int stored = REPLY_FORMS[form].decode(&m_rspBuf[0], rspLen(), count, out);
    return stored >= 0 ? stored : decodeOddRsp(REPLY_FORMS[form], count, out);
}

// The text of a reply ends at its first zero byte. The pattern defines the form; it is asked only
// when the decoder, which costs much less, finds the form wrong.
int DriverKV_L20V_HostLink::decodeOddRsp(const ReplyForm &wanted, int count, char *out)
{
    const int length = static_cast<int>(qstrnlen(&m_rspBuf[0], static_cast<uint>(rspLen())));
    const int stored = wanted.decode(&m_rspBuf[0], length, count, out);
    if (stored < 0 && !hasForm(wanted.form, &m_rspBuf[0], length))
        failed(wanted.wrongForm);
    return qMax(stored, 0);
}

int DriverKV_L20V_HostLink::writeBytes(AbstractDeviceInterface *device,
                                       const CommunicatorCommand &command, const QByteArray &data)
{
    const QByteArray &address = takeAddress(command.address);
    if (m_row->forms.written == KV_L20V_Refused)
        return refuseWordWrite();
    if (!checkDataLength(data.size()))
        return 0;
    int length = 0;
    if (KV_L20V_HexWordDataFormat(*m_row)) {
        if (!takeWordAddress(address))
            return 0;
        length = packWriteHexWordsCmd(device, address, To16bitsData(data));
    } else {
        if (!checkCarriedAddress(command.address))
            return 0;
        dropPresetLetter();
        length = KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(&m_cmdBuf[0], m_address,
                                                               To32bitsData(data));
    }
    return checkWriteLine(length, data.size()) && writeLine(device, length, AnyReply);
}

// Requires: takeWordAddress. Returns the length of the line, or 0 when it does not fit.
int DriverKV_L20V_HostLink::packWriteHexWordsCmd(AbstractDeviceInterface *, const QByteArray &,
                                                 const QByteArray &words)
{
    return KV_L20V_HostLinkPackWRSWordsCmd(
        &m_cmdBuf[0], m_words, reinterpret_cast<const unsigned char *>(words.constData()),
        words.size() / 2);
}

// Relays take a run of bits in one line. Of every other device each bit is a request of its own; a
// run beyond device number 2147483647 is refused before the first of them, since numbers are ints.
int DriverKV_L20V_HostLink::writeBitKinds(AbstractDeviceInterface *device,
                                          const CommunicatorCommand &command,
                                          const QByteArray &data)
{
    const QByteArray &address = takeAddress(command.address);
    if (KV_L20V_IsBitRun(*m_row, address))
        return checkCarriedAddress(command.address) && writeBits(device, address, data);
    if (address.isEmpty() && !data.isEmpty())
        return refuseEmptyAddress();
    const QByteArray prefix = ExtractPrefixSymbol(address);
    const int number = ExtractPLCDeviceAddress(address, 10);
    if (data.size() > 1 && number > INT_MAX - (data.size() - 1))
        return refuseBitRun(data.size());
    int result = 1;
    for (int i = 0; i < data.size(); ++i) {
        result = writeBit(device, prefix, number + i, data.at(i) != 0);
        if (!result)
            break;
    }
    return result;
}

int DriverKV_L20V_HostLink::writeBits(AbstractDeviceInterface *device, const QByteArray &address,
                                      const QByteArray &data)
{
    const int length = KV_L20V_HostLinkPackWriteBitsCmd(&m_cmdBuf[0], address, data);
    return checkWriteLine(length, data.size()) && writeLine(device, length, OkReply);
}

// Refuses a device without a line that sets or resets a bit, such as DM.
int DriverKV_L20V_HostLink::writeBit(AbstractDeviceInterface *device, const QByteArray &prefix,
                                     int number, bool value)
{
    const KV_L20V_Device::Contact &contact = KV_L20V_DeviceOf(prefix).contact;
    if (!contact.name)
        return refuseContact(prefix);
    const int length =
        KV_L20V_HostLinkPackSetResetCmd(&m_cmdBuf[0], contact.name, contact.digits, number, value);
    return writeLine(device, length, OkReply);
}

// Makes the request of a write whose line is in the command buffer.
bool DriverKV_L20V_HostLink::writeLine(AbstractDeviceInterface *device, int length,
                                       Acceptance wanted)
{
    if (!startComm(device))
        return false;
    device->write(&m_cmdBuf[0], length);
    return receiveAcceptance(device, wanted);
}

// Whether the data of a request has a length that the driver is ready to hold.
bool DriverKV_L20V_HostLink::checkDataLength(qint64 bytes)
{
    return (bytes >= 0 && bytes <= KV_L20V_MAX_DATA_LENGTH) || refuseDataLength(bytes);
}

// Whether a write line has fitted its buffer.
bool DriverKV_L20V_HostLink::checkWriteLine(int length, int dataBytes)
{
    return length > 0 || refuseWriteLine(dataBytes);
}

// The bytes of the request's address; a character that has none becomes a question mark.
const QByteArray &DriverKV_L20V_HostLink::takeAddress(const QString &address)
{
    const QChar *const characters = address.constData();
    const int size = address.size();
    m_givenAddress = &address;
    if (m_address.size() != size)
        m_address.resize(size);
    char *const bytes = m_address.data();
    for (int i = 0; i < size; ++i) {
        const ushort c = characters[i].unicode();
        bytes[i] = c < 0x100 ? static_cast<char>(c) : '?';
    }
    m_row = &KV_L20V_DeviceOf(m_address);
    return m_address;
}

// Of PCTC, a CTC's preset, the PLC knows the CTC alone.
void DriverKV_L20V_HostLink::dropPresetLetter()
{
    if (m_row->forms.read == KV_L20V_Presets)
        m_address.remove(0, 1);
}

// Takes what names the address at hand in a line of words. Refused are a hexadecimal device (B, W,
// VB) without a number, and what is not in the table. Other devices without a number count as number
// 0. Nearly every number is a few digits; what the others are is the parser's to say.
bool DriverKV_L20V_HostLink::takeWordAddress(const QByteArray &address)
{
    if (m_row->number.digits == 0)
        return refuseAddress("names no known device");
    m_words.prefix = m_row->prefix;
    m_words.format = m_formats[static_cast<size_t>(KV_L20V_IndexOf(*m_row))];
    m_words.number = KV_L20V_ShortNumber(*m_row, address);
    return m_words.number.first || takeParsedNumber(address);
}

bool DriverKV_L20V_HostLink::takeParsedNumber(const QByteArray &address)
{
    QByteArray prefix;
    unsigned int number = 0;
    if (!KV_L20V_ParseAddress(address, prefix, number))
        return refuseAddress("holds no device number");
    m_digits = QByteArray::number(number, m_row->number.base);
    m_words.number.first = m_digits.constData();
    m_words.number.count = m_digits.size();
    return true;
}
