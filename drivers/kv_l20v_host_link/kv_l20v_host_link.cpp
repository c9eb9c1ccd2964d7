#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"

#include "drivers/abstract_device_interface.h"
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"
#include "tools/drv_dev_setting.h"
#include "tools/tools.h"

#include <climits>
#include <new>

namespace
{

const QString VERSION_STRING = QLatin1String("1.0.0");

const int RESPONSE_BUFFER_SIZE = 1538;
const int COMMAND_BUFFER_SIZE = 1553;
const int CONTINUOUS_READ_BUFFER_SIZE = 20;
const int USUAL_ADDRESS_LENGTH = 16;

// Far above what one reply can carry, and small enough for the panel's memory: a short reply to an
// absurd request must not make the driver allocate what the request claims.
const int MAX_DATA_LENGTH = 1024 * 1024;

const char EMPTY_ADDRESS[] = "address is empty";

// Made beforehand: when it is needed there is no memory for it.
const QString OUT_OF_MEMORY = QLatin1String("out of memory");

// The bit devices' numbers count channels of 16 bits; the format adds the channel's first bit.
const struct {
    const char *prefix;
    const char *numberFormat;
} DEVICE_TABLE[] = {
    {"R", "%03u00.H"}, {"B", "%03X0.H"}, {"MR", "%03u00.H"}, {"LR", "%03u00.H"}, {"CR", "%02u00.H"},
    {"VB", "%03X0.H"}, {"DM", "%05u.H"}, {"EM", "%05u.H"},   {"FM", "%05u.H"},   {"ZF", "%05u.H"},
    {"W", "%04X.H"},   {"TM", "%03u.H"}, {"Z", "%02u.H"},    {"CM", "%04u.H"},   {"VM", "%05u.H"},
};

QRegExp pattern(const char *text, Qt::CaseSensitivity caseSensitivity = Qt::CaseSensitive)
{
    return QRegExp(QLatin1String(text), caseSensitivity, QRegExp::RegExp);
}

// Of PCTC, the preset of a CTC, the PLC knows only the CTC.
bool isCtcPreset(const QByteArray &address)
{
    return qstrnicmp(address.constData(), "PCTC", 4) == 0;
}

const char *carriedAddress(const QByteArray &address)
{
    return address.constData() + (isCtcPreset(address) ? 1 : 0);
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

} // namespace

bool DriverKV_L20V_HostLink::ci_less::operator()(const QByteArray &a, const QByteArray &b) const
{
    return qstrnicmp(a.constData(), b.constData(), static_cast<uint>(qMax(a.size(), b.size()))) < 0;
}

DriverKV_L20V_HostLink::DriverKV_L20V_HostLink()
    : m_hasError(false), m_debugMode(false), m_rspLen(0),
      m_bitsRsp(pattern("[01](?: [01])*\\x0D\\x0A")),
      m_dec10Rsp(pattern("\\d{10}(?: \\d{10})*\\x0D\\x0A")),
      m_timerCounterRsp(pattern("[01],\\d{10},\\d{10}(?: [01],\\d{10},\\d{10})*\\x0D\\x0A")),
      m_errorRsp(pattern("E\\d\\x0D\\x0A")),
      m_hexWordsRsp(pattern("^[\\da-f]{4}(?: [\\da-f]{4})*\\r\\n$", Qt::CaseInsensitive)),
      m_rspBuf(RESPONSE_BUFFER_SIZE, '\0'), m_cmdBuf(COMMAND_BUFFER_SIZE, '\0'), m_givenAddress(0)
{
    m_address.reserve(USUAL_ADDRESS_LENGTH);
    m_prefix.reserve(USUAL_ADDRESS_LENGTH);
    for (const auto &row : DEVICE_TABLE)
        m_map[row.prefix] = row.numberFormat;
}

int DriverKV_L20V_HostLink::totalSize()
{
    return 1024;
}

int DriverKV_L20V_HostLink::initialize(AbstractDeviceInterface *)
{
    return 1;
}

int DriverKV_L20V_HostLink::validation(const QString &)
{
    return 0;
}

QString DriverKV_L20V_HostLink::name()
{
    return QLatin1String("KEYENCE KV-L20V Host Link");
}

QString DriverKV_L20V_HostLink::vender()
{
    return QLatin1String("KEYENCE");
}

QString DriverKV_L20V_HostLink::getVersionNumber()
{
    return VERSION_STRING;
}

DeviceSetting *DriverKV_L20V_HostLink::getDefaultSerialDeviceSetting()
{
    return new DeviceSetting(RS232Device, QLatin1String("COM2"), 9600, 8, OneStopBitCode,
                             EvenParityCode);
}

DriverSetting *DriverKV_L20V_HostLink::getDefaultDriverSetting()
{
    return new DriverSetting(500, 3, 0, 0);
}

QString DriverKV_L20V_HostLink::getStringBasedDefaultDriverSetting()
{
    return QLatin1String("RS232,9600,EVEN,8,1");
}

int DriverKV_L20V_HostLink::supportedCommunicationFlags()
{
    return 16 | RS232Device | 64;
}

void DriverKV_L20V_HostLink::setDebugMode(bool on)
{
    m_debugMode = on;
}

int DriverKV_L20V_HostLink::getBlockAccessSize()
{
    return 1024;
}

int DriverKV_L20V_HostLink::getBitBlockAccessSize()
{
    return 1024;
}

bool DriverKV_L20V_HostLink::hasError()
{
    return m_hasError;
}

QString DriverKV_L20V_HostLink::getLastError()
{
    return m_lastError;
}

QObject *DriverKV_L20V_HostLink::getThisObject()
{
    return this;
}

void DriverKV_L20V_HostLink::setCommError(const QString &text)
{
    m_hasError = true;
    m_lastError = text;
}

void DriverKV_L20V_HostLink::clearError()
{
    m_hasError = false;
}

// Records a failure and gives the result of the step that failed.
bool DriverKV_L20V_HostLink::failed(const QString &text)
{
    setCommError(text);
    return false;
}

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

QByteArray DriverKV_L20V_HostLink::readOnce(AbstractDeviceInterface *device,
                                            const CommunicatorCommand &command)
{
    try {
        switch (command.kind) {
        case Byte:
        case Word:
        case DoubleWord:
        case Block:
            return readBytes(device, command.address, command.byteLength());
        case Bit:
        case BitBlock:
            return readBits(device, command);
        default:
            return QByteArray();
        }
    } catch (const std::bad_alloc &) {
        setCommError(OUT_OF_MEMORY);
        return QByteArray();
    }
}

int DriverKV_L20V_HostLink::writeOnce(AbstractDeviceInterface *device,
                                      const CommunicatorCommand &command, const QByteArray &data)
{
    try {
        switch (command.kind) {
        case Byte:
        case Word:
        case DoubleWord:
        case Block:
            return writeBytes(device, command, data);
        case Bit:
        case BitBlock:
            return writeBitKinds(device, command, data);
        default:
            return 0;
        }
    } catch (const std::bad_alloc &) {
        return failed(OUT_OF_MEMORY);
    }
}

// Whether the data of a request has a length that the driver is ready to hold.
bool DriverKV_L20V_HostLink::checkDataLength(qint64 bytes)
{
    if (bytes >= 0 && bytes <= MAX_DATA_LENGTH)
        return true;
    return failed(QString::fromLatin1("data length %1 is not in 0 to %2 bytes")
                      .arg(QString::number(bytes), QString::number(MAX_DATA_LENGTH)));
}

// An address that goes into a line as it stands must not bring a blank, a line end or anything else
// that would make it more than one field, nor a character that has no place in ASCII.
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

// The bytes of the request's address; a character that has none becomes a question mark.
const QByteArray &DriverKV_L20V_HostLink::takeAddress(const QString &address)
{
    m_givenAddress = &address;
    if (m_address.size() != address.size())
        m_address.resize(address.size());
    char *bytes = m_address.data();
    for (int i = 0; i < address.size(); ++i) {
        const ushort c = address.at(i).unicode();
        bytes[i] = c < 0x100 ? static_cast<char>(c) : '?';
    }
    return m_address;
}

// Splits the address of a word device and finds its row in the device table.
bool DriverKV_L20V_HostLink::parseWordAddress(const QByteArray &address, WordDevice &word)
{
    m_prefix.resize(0);
    if (!KV_L20V_ParseAddress(address, m_prefix, word.number))
        return failed(
            QString::fromLatin1("address %1 holds no device number").arg(quoted(*m_givenAddress)));
    const DeviceTable::const_iterator row = m_map.find(m_prefix);
    if (row == m_map.end())
        return failed(
            QString::fromLatin1("address %1 names no known device").arg(quoted(*m_givenAddress)));
    word.prefix = m_prefix.constData();
    word.format = row->second.constData();
    return true;
}

QByteArray DriverKV_L20V_HostLink::readBytes(AbstractDeviceInterface *device,
                                             const QString &addressText, int byteLength)
{
    if (!checkDataLength(byteLength))
        return QByteArray();
    const unsigned int words = NumOfBytesToNumOfWords(static_cast<unsigned int>(byteLength));
    if (const KV_L20V_RequestLines::Line *line = m_requestLines.find(addressText, words))
        return readHexWords(device, line->text, line->length, words, byteLength);
    const QByteArray &address = takeAddress(addressText);
    if (!KV_L20V_HexWordDataFormat(address))
        return checkCarriedAddress(addressText) ? readUInt32s(device, address, byteLength)
                                                : QByteArray();
    const int length = packReadHexWordsCmd(address, words);
    if (length == 0)
        return QByteArray();
    m_requestLines.keep(addressText, words, &m_cmdBuf[0], length);
    return readHexWords(device, &m_cmdBuf[0], length, words, byteLength);
}

QByteArray DriverKV_L20V_HostLink::readHexWords(AbstractDeviceInterface *device, const char *line,
                                                int length, unsigned int words, int byteLength)
{
    const ReplyForm form = {&m_hexWordsRsp, hexWordsRspToByteArray,
                            "invalid response:", static_cast<int>(words),
                            static_cast<int>(2 * words)};
    QByteArray data = readItems(device, line, length, form);
    data.truncate(byteLength);
    return data;
}

// The devices that are read in ten-digit numbers: values alone, or timer and counter items.
QByteArray DriverKV_L20V_HostLink::readUInt32s(AbstractDeviceInterface *device,
                                               const QByteArray &address, int byteLength)
{
    const unsigned int count = NumOfBytesToNumOfDWords(static_cast<unsigned int>(byteLength));
    const bool valuesOnly = KV_L20V_Dec10DataFormat(address);
    const ReplyForm form = {valuesOnly ? &m_dec10Rsp : &m_timerCounterRsp,
                            valuesOnly             ? dec10RspToByteArray
                            : isCtcPreset(address) ? timerCounterSecondRspToByteArray
                                                   : timerCounterFirstRspToByteArray,
                            "invalid response", static_cast<int>(count),
                            static_cast<int>(4 * count)};
    QByteArray data = continuousRead(device, carriedAddress(address), form);
    data.truncate(byteLength);
    return data;
}

QByteArray DriverKV_L20V_HostLink::readBits(AbstractDeviceInterface *device,
                                            const CommunicatorCommand &command)
{
    const QByteArray &address = takeAddress(command.address);
    const bool items = KV_L20V_TimerCounterBits(address);
    const unsigned int bytes = NumOfBitsToNumOfBytes(0, command.count);
    if (!checkDataLength(bytes) || !checkCarriedAddress(command.address))
        return QByteArray();
    const ReplyForm form = {items ? &m_timerCounterRsp : &m_bitsRsp,
                            items ? timerCounterRspToBits : bitsRspToBits,
                            items ? "invalid response3" : "invalid response2",
                            static_cast<int>(command.count), static_cast<int>(bytes)};
    return continuousRead(device, address.constData(), form);
}

QByteArray DriverKV_L20V_HostLink::continuousRead(AbstractDeviceInterface *device,
                                                  const char *address, const ReplyForm &form)
{
    const unsigned int count = static_cast<unsigned int>(form.count);
    char line[CONTINUOUS_READ_BUFFER_SIZE];
    const int length = KV_L20V_HostLinkPackContinuousReadDataCmd(line, CONTINUOUS_READ_BUFFER_SIZE,
                                                                 address, count);
    if (length == 0) {
        failed(QString::fromLatin1("read of %1 items from address %2 does not fit a line of "
                                   "%3 characters")
                   .arg(QString::number(count), quoted(*m_givenAddress),
                        QString::number(CONTINUOUS_READ_BUFFER_SIZE - 1)));
        return QByteArray();
    }
    return readItems(device, line, length, form);
}

int DriverKV_L20V_HostLink::packReadHexWordsCmd(const QByteArray &address, unsigned int words)
{
    WordDevice word;
    if (!parseWordAddress(address, word))
        return 0;
    return KV_L20V_HostLinkPackRDSWordsCmd(&m_cmdBuf[0], COMMAND_BUFFER_SIZE, word.prefix,
                                           word.number, word.format, words);
}

int DriverKV_L20V_HostLink::packWriteHexWordsCmd(const QByteArray &address, const QByteArray &data)
{
    WordDevice word;
    if (!parseWordAddress(address, word))
        return 0;
    const QByteArray words = To16bitsData(data);
    const int length = KV_L20V_HostLinkPackWRSWordsCmd(
        &m_cmdBuf[0], COMMAND_BUFFER_SIZE, word.prefix, word.number, word.format,
        reinterpret_cast<const unsigned char *>(words.constData()), words.size() / 2);
    return checkWriteLine(length, data.size()) ? length : 0;
}

// Records the refusal of a write line that did not fit.
bool DriverKV_L20V_HostLink::checkWriteLine(int length, int dataBytes)
{
    if (length > 0)
        return true;
    return failed(QString::fromLatin1("write of %1 bytes to address %2 does not fit a line of %3 "
                                      "characters")
                      .arg(QString::number(dataBytes), quoted(*m_givenAddress),
                           QString::number(COMMAND_BUFFER_SIZE - 1)));
}

int DriverKV_L20V_HostLink::writeBytes(AbstractDeviceInterface *device,
                                       const CommunicatorCommand &command, const QByteArray &data)
{
    const QByteArray &address = takeAddress(command.address);
    if (command.address.startsWith(QLatin1String("CTC"), Qt::CaseInsensitive))
        return failed(QLatin1String("can't write word to ") + command.address);
    if (!checkDataLength(data.size()))
        return 0;
    int length = 0;
    if (KV_L20V_HexWordDataFormat(address)) {
        length = packWriteHexWordsCmd(address, data);
    } else {
        if (!checkCarriedAddress(command.address))
            return 0;
        length = KV_L20V_HostLinkPackWriteContinuousUInt32sCmd(
            &m_cmdBuf[0], COMMAND_BUFFER_SIZE, carriedAddress(address), To32bitsData(data));
        checkWriteLine(length, data.size());
    }
    return length > 0 && writeItems(device, &m_cmdBuf[0], length, AnyReply);
}

// Relays take a run of bits in one line, every other device one exchange per bit.
int DriverKV_L20V_HostLink::writeBitKinds(AbstractDeviceInterface *device,
                                          const CommunicatorCommand &command,
                                          const QByteArray &data)
{
    const QByteArray &address = takeAddress(command.address);
    if (KV_L20V_BitRunDevice(address))
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
    const int length = KV_L20V_HostLinkPackWriteBitsCmd(&m_cmdBuf[0], COMMAND_BUFFER_SIZE,
                                                        address.constData(), data);
    return checkWriteLine(length, data.size()) && writeItems(device, &m_cmdBuf[0], length, OkReply);
}

int DriverKV_L20V_HostLink::writeBit(AbstractDeviceInterface *device, const QByteArray &prefix,
                                     int number, bool value)
{
    if (!KV_L20V_HasSetResetLine(prefix))
        return failed(QString::fromLatin1("device %1 has no line that sets or resets a bit")
                          .arg(quoted(QString::fromLatin1(prefix.constData(), prefix.size()))));
    const int length =
        KV_L20V_HostLinkPackSetResetCmd(&m_cmdBuf[0], COMMAND_BUFFER_SIZE, prefix, number, value);
    return writeItems(device, &m_cmdBuf[0], length, OkReply);
}
