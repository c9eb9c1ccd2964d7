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

// Far above what one reply can carry, and small enough for the panel's memory: a short reply to an
// absurd request must not make the driver allocate what the request claims.
const int MAX_DATA_LENGTH = 1024 * 1024;

const char EMPTY_ADDRESS[] = "address is empty";

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

bool isPrintable(QChar c)
{
    return c.unicode() >= 0x21 && c.unicode() <= 0x7E;
}

// An address as it appears in an error text: printable whatever it holds.
QString quoted(const QString &address)
{
    QString text;
    for (int i = 0; i < address.size(); ++i) {
        const QChar c = address.at(i);
        if (isPrintable(c) || c == QLatin1Char(' '))
            text += c;
        else
            text += QString::fromLatin1("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
    }
    return QLatin1Char('"') + text + QLatin1Char('"');
}

int decimalDigits(int number)
{
    int digits = 1;
    for (; number >= 10; number /= 10)
        ++digits;
    return digits;
}

// Requires: the address and the count have no more than KV_L20V_CONTINUOUS_READ_FIELDS characters.
void KV_L20V_HostLinkSendContinuousReadDataCmd(AbstractDeviceInterface *device,
                                               const QByteArray &address, int count)
{
    char line[KV_L20V_CONTINUOUS_READ_BUFFER_SIZE];
    const int length = KV_L20V_HostLinkPackContinuousReadDataCmd(
        line, sizeof line, address.constData(), static_cast<unsigned int>(count));
    KV_L20V_SendReadLine(device, line, length);
}

} // namespace

// A read of more items than a reply holds is sent, as the PLC may answer with fewer; a longer reply
// is cut and fails its form. A read of 0 words is sent with the count 0 and gives nothing.
QByteArray DriverKV_L20V_HostLink::read(AbstractDeviceInterface *device,
                                        const CommunicatorCommand &command)
{
    for (int attempt = 0;; ++attempt) {
        beginAttempt(device);
        QByteArray result = readOnce(device, command);
        if (!tryAgain(device, attempt))
            return result;
    }
}

int DriverKV_L20V_HostLink::write(AbstractDeviceInterface *device,
                                  const CommunicatorCommand &command, const QByteArray &data)
{
    for (int attempt = 0;; ++attempt) {
        beginAttempt(device);
        const int result = writeOnce(device, command, data);
        if (!tryAgain(device, attempt))
            return result;
    }
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
bool DriverKV_L20V_HostLink::tryAgain(AbstractDeviceInterface *device, int attempt)
{
    return hasError() && attempt < device->getRetry();
}

QByteArray DriverKV_L20V_HostLink::readOnce(AbstractDeviceInterface *device,
                                            const CommunicatorCommand &command)
{
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

// Words go by the device table; a line of an earlier read is sent again as it was.
QByteArray DriverKV_L20V_HostLink::readBytes(AbstractDeviceInterface *device,
                                             const QString &addressText, int byteLength)
{
    if (!checkDataLength(byteLength))
        return QByteArray();
    const unsigned int words = NumOfBytesToNumOfWords(static_cast<unsigned int>(byteLength));
    if (const KV_L20V_RequestLines::Line *line = m_requestLines.find(addressText, words)) {
        if (!startComm(device))
            return QByteArray();
        KV_L20V_SendReadLine(device, line->text, line->length);
    } else {
        const QByteArray &address = takeAddress(addressText);
        const KV_L20V_Device &row = KV_L20V_DeviceOf(address);
        if (row.forms.read != KV_L20V_HexWords)
            return readUInt32s(device, row, addressText, byteLength);
        if (!checkWordAddress(row, address) || !startComm(device))
            return QByteArray();
        sendReadHexWordsCmd(device, address, words);
    }
    QByteArray data = receiveItems(device, KV_L20V_HexWords, static_cast<int>(words),
                                   static_cast<int>(2 * words));
    data.truncate(byteLength);
    return data;
}

// The devices that are read in ten-digit numbers: values alone, or timer items.
QByteArray DriverKV_L20V_HostLink::readUInt32s(AbstractDeviceInterface *device,
                                               const KV_L20V_Device &row,
                                               const QString &addressText, int byteLength)
{
    if (!checkCarriedAddress(addressText))
        return QByteArray();
    const unsigned int count = NumOfBytesToNumOfDWords(static_cast<unsigned int>(byteLength));
    dropPresetLetter(row);
    QByteArray data = continuousRead(device, row.forms.read, static_cast<int>(count),
                                     static_cast<int>(4 * count));
    data.truncate(byteLength);
    return data;
}

QByteArray DriverKV_L20V_HostLink::readBits(AbstractDeviceInterface *device,
                                            const CommunicatorCommand &command)
{
    const QByteArray &address = takeAddress(command.address);
    const unsigned int bytes = NumOfBitsToNumOfBytes(0, command.count);
    if (!checkDataLength(bytes) || !checkCarriedAddress(command.address))
        return QByteArray();
    return continuousRead(device, KV_L20V_BitForm(KV_L20V_DeviceOf(address), address),
                          static_cast<int>(command.count), static_cast<int>(bytes));
}

// Reads items of the address at hand, which the line carries as it stands.
QByteArray DriverKV_L20V_HostLink::continuousRead(AbstractDeviceInterface *device,
                                                  KV_L20V_Form form, int count, int bytes)
{
    if (m_address.size() + decimalDigits(count) > KV_L20V_CONTINUOUS_READ_FIELDS) {
        failed(QString::fromLatin1("read of %1 items from address %2 does not fit a line of "
                                   "%3 characters")
                   .arg(QString::number(count), quoted(*m_givenAddress),
                        QString::number(KV_L20V_CONTINUOUS_READ_BUFFER_SIZE - 1)));
        return QByteArray();
    }
    if (!startComm(device))
        return QByteArray();
    KV_L20V_HostLinkSendContinuousReadDataCmd(device, m_address, count);
    return receiveItems(device, form, count, bytes);
}

// Requires: checkWordAddress. Returns what the channel's write returned.
int DriverKV_L20V_HostLink::sendReadHexWordsCmd(AbstractDeviceInterface *device,
                                                const QByteArray &address, uint words)
{
    unsigned int number = 0;
    const char *const format = numberFormat(address, number);
    const int length = KV_L20V_HostLinkPackRDSWordsCmd(&m_cmdBuf[0], KV_L20V_COMMAND_BUFFER_SIZE,
                                                       m_prefix.constData(), number, format, words);
    m_requestLines.keep(*m_givenAddress, words, &m_cmdBuf[0], length);
    return KV_L20V_SendReadLine(device, &m_cmdBuf[0], length);
}

// Receives the reply of a read and closes; the result is empty on failure.
QByteArray DriverKV_L20V_HostLink::receiveItems(AbstractDeviceInterface *device, KV_L20V_Form form,
                                                int count, int bytes)
{
    QByteArray data;
    if (receiveRsp(device)) {
        data = QByteArray(bytes, '\0');
        if (form == KV_L20V_HexWords)
            hexWordsRspToByteArray(data);
        else
            decodeRsp(form, count, data.data());
        if (m_hasError || !endComm(device))
            data.clear();
    }
    return data;
}

// Puts the words of the reply into an array of as many as were asked for.
int DriverKV_L20V_HostLink::hexWordsRspToByteArray(QByteArray &words)
{
    return decodeRsp(KV_L20V_HexWords, words.size() / 2, words.data());
}

const DriverKV_L20V_HostLink::ReplyForm DriverKV_L20V_HostLink::REPLY_FORMS[] = {
    {&DriverKV_L20V_HostLink::m_bitsRsp, KV_L20V_BitsOf, "invalid response2"},
    {&DriverKV_L20V_HostLink::m_timerCounterRsp, KV_L20V_ContactsOf, "invalid response3"},
    {&DriverKV_L20V_HostLink::m_hexWordsRsp, KV_L20V_HexWordsOf, "invalid response:"},
    {&DriverKV_L20V_HostLink::m_dec10Rsp, KV_L20V_NumbersOf, "invalid response"},
    {&DriverKV_L20V_HostLink::m_timerCounterRsp, KV_L20V_CurrentsOf, "invalid response"},
    {&DriverKV_L20V_HostLink::m_timerCounterRsp, KV_L20V_PresetsOf, "invalid response"},
};

// Stores up to so many values of the reply, and records a wrong form. The pattern defines the form;
// it is asked only when the decoder, which costs much less, finds the form wrong.
// Returns how many were stored.
int DriverKV_L20V_HostLink::decodeRsp(KV_L20V_Form form, int count, char *out)
{
    const ReplyForm &wanted = REPLY_FORMS[form];
    const int stored = wanted.decode(&m_rspBuf[0], rspLen(), count, out);
    if (stored < 0 && !(this->*wanted.pattern).exactMatch(KV_L20V_TextOf(&m_rspBuf[0], rspLen())))
        failed(QLatin1String(wanted.wrongForm));
    return stored;
}

int DriverKV_L20V_HostLink::writeBytes(AbstractDeviceInterface *device,
                                       const CommunicatorCommand &command, const QByteArray &data)
{
    const QByteArray &address = takeAddress(command.address);
    const KV_L20V_Device &row = KV_L20V_DeviceOf(address);
    if (row.forms.written == KV_L20V_Refused)
        return failed(QLatin1String("can't write word to ") + command.address);
    if (!checkDataLength(data.size()))
        return 0;
    int length = 0;
    if (row.forms.written == KV_L20V_HexWords) {
        if (!checkWordAddress(row, address))
            return 0;
        length = packWriteHexWordsCmd(device, address, To16bitsData(data));
    } else {
        if (!checkCarriedAddress(command.address))
            return 0;
        dropPresetLetter(row);
        length = KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(
            &m_cmdBuf[0], KV_L20V_COMMAND_BUFFER_SIZE, address.constData(), To32bitsData(data));
    }
    return checkWriteLine(length, data.size()) && writeLine(device, length, AnyReply);
}

// Requires: checkWordAddress. Returns the length of the line, or 0 when it does not fit.
int DriverKV_L20V_HostLink::packWriteHexWordsCmd(AbstractDeviceInterface *,
                                                 const QByteArray &address, const QByteArray &words)
{
    unsigned int number = 0;
    const char *const format = numberFormat(address, number);
    return KV_L20V_HostLinkPackWRSWordsCmd(
        &m_cmdBuf[0], KV_L20V_COMMAND_BUFFER_SIZE, m_prefix.constData(), number, format,
        reinterpret_cast<const unsigned char *>(words.constData()), words.size() / 2);
}

// Relays take a run of bits in one line. Of every other device each bit is a request of its own; a
// run beyond device number 2147483647 is refused before the first of them, since numbers are ints.
int DriverKV_L20V_HostLink::writeBitKinds(AbstractDeviceInterface *device,
                                          const CommunicatorCommand &command,
                                          const QByteArray &data)
{
    const QByteArray &address = takeAddress(command.address);
    if (KV_L20V_IsBitRun(KV_L20V_DeviceOf(address), address))
        return checkCarriedAddress(command.address) && writeBits(device, address, data);
    if (address.isEmpty() && !data.isEmpty())
        return failed(QLatin1String(EMPTY_ADDRESS));
    const QByteArray prefix = ExtractPrefixSymbol(address);
    const int number = ExtractPLCDeviceAddress(address, 10);
    if (data.size() > 1 && number > INT_MAX - (data.size() - 1))
        return failed(QString::fromLatin1("%1 bits from address %2 on run beyond device number %3")
                          .arg(QString::number(data.size()), quoted(command.address),
                               QString::number(INT_MAX)));
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
    const int length = KV_L20V_HostLinkPackWriteBitsCmd(&m_cmdBuf[0], KV_L20V_COMMAND_BUFFER_SIZE,
                                                        address.constData(), data);
    return checkWriteLine(length, data.size()) && writeLine(device, length, OkReply);
}

// Refuses a device without a line that sets or resets a bit, such as DM.
int DriverKV_L20V_HostLink::writeBit(AbstractDeviceInterface *device, const QByteArray &prefix,
                                     int number, bool value)
{
    const KV_L20V_Device::Contact &contact = KV_L20V_DeviceOf(prefix).contact;
    if (!contact.name)
        return failed(QString::fromLatin1("device %1 has no line that sets or resets a bit")
                          .arg(quoted(QString::fromLatin1(prefix.constData(), prefix.size()))));
    const int length = KV_L20V_HostLinkPackSetResetCmd(&m_cmdBuf[0], KV_L20V_COMMAND_BUFFER_SIZE,
                                                       contact.name, contact.digits, number, value);
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
    if (bytes >= 0 && bytes <= MAX_DATA_LENGTH)
        return true;
    return failed(QString::fromLatin1("data length %1 is not in 0 to %2 bytes")
                      .arg(QString::number(bytes), QString::number(MAX_DATA_LENGTH)));
}

// Whether a line of words can name an address: of a hexadecimal device (B, W, VB) with a number,
// and of a device in the table. Other devices without a number count as number 0.
bool DriverKV_L20V_HostLink::checkWordAddress(const KV_L20V_Device &row, const QByteArray &address)
{
    bool isNumber = true;
    if (row.number.base == 16) {
        const int letters = static_cast<int>(std::strlen(row.prefix));
        NumberTextToUInt(address.constData() + letters, address.size() - letters, 16, &isNumber);
    }
    if (!isNumber)
        return failed(
            QString::fromLatin1("address %1 holds no device number").arg(quoted(*m_givenAddress)));
    // A Z alone is taken for Z0.
    if (row.number.digits == 0 && address.size() > 1)
        return failed(
            QString::fromLatin1("address %1 names no known device").arg(quoted(*m_givenAddress)));
    return true;
}

// An address that goes into a line as it stands must not hold a blank, a line end or anything else
// that would make it more than one field, nor a character outside ASCII.
bool DriverKV_L20V_HostLink::checkCarriedAddress(const QString &address)
{
    for (int i = 0; i < address.size(); ++i) {
        if (!isPrintable(address.at(i)))
            return failed(QString::fromLatin1("address %1 holds the character 0x%2 at position %3")
                              .arg(quoted(address),
                                   QString::number(address.at(i).unicode(), 16)
                                       .rightJustified(2, QLatin1Char('0')),
                                   QString::number(i)));
    }
    return !address.isEmpty() || failed(QLatin1String(EMPTY_ADDRESS));
}

// Whether a write line has fitted its buffer.
bool DriverKV_L20V_HostLink::checkWriteLine(int length, int dataBytes)
{
    if (length > 0)
        return true;
    return failed(QString::fromLatin1("write of %1 bytes to address %2 does not fit a line of %3 "
                                      "characters")
                      .arg(QString::number(dataBytes), quoted(*m_givenAddress),
                           QString::number(KV_L20V_COMMAND_BUFFER_SIZE - 1)));
}

// Records a failure and gives the result of the step that failed.
bool DriverKV_L20V_HostLink::failed(const QString &text)
{
    setCommError(text);
    return false;
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
    return m_address;
}

// Of PCTC, a CTC's preset, the PLC knows the CTC alone.
void DriverKV_L20V_HostLink::dropPresetLetter(const KV_L20V_Device &row)
{
    if (row.forms.read == KV_L20V_Presets)
        m_address.remove(0, 1);
}

// Takes a word device's address apart, the prefix into `m_prefix`. Requires: checkWordAddress.
const char *DriverKV_L20V_HostLink::numberFormat(const QByteArray &address, unsigned int &number)
{
    m_prefix.resize(0);
    KV_L20V_ParseAddress(address, m_prefix, number);
    return m_map.find(m_prefix)->second.constData();
}
