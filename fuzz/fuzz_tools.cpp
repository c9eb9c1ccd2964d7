// What tools/ and the driver's text functions take from outside: the first byte is the subject.
#include "drivers/kv_l20v_host_link/kv_l20v_lines.h"
#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"
#include "fuzz/fuzz_check.h"
#include "tools/drv_dev_setting.h"
#include "tools/tools.h"
#include "tools/txpackage.h"

#include <QtCore/QDataStream>

#include <climits>
#include <cstring>

namespace
{

unsigned char *unsignedBytes(ExactBytes &bytes)
{
    return reinterpret_cast<unsigned char *>(bytes.data());
}

// The pack language: what is packed comes out again, whatever the format, and a fault is one.
void checkPack(FuzzInput &input)
{
    static const char TYPES[] = "CcxXvnVNSsIiLl"; // those from S on take no count
    static const char *const FAULTS[] = {"", "0v", "99999999999999999999S", "12", "?"};
    const size_t fault = input.below(5);
    QByteArray format;
    std::vector<ExactBytes> values, unpacked;
    quintptr packs[4] = {}, unpacks[4] = {}; // values and pointers, as they stand in a call
    int size = 0;
    bool forArrays = fault == 0;
    while (!input.atEnd() && values.size() < 4) {
        const unsigned int index = input.below(sizeof TYPES - 1);
        const bool filler = index == 2 || index == 3;
        const int width = index < 4 ? 1 : std::strchr("vnSs", TYPES[index]) ? 2 : 4;
        const int count = index < 8 ? static_cast<int>(input.below(72)) : 0; // 0: none
        const int bytes = width * (count == 0 ? 1 : filler ? count - 1 : count);
        format += (count > 0 ? QByteArray::number(bytes / width) : QByteArray()) + TYPES[index];
        size += bytes;
        forArrays = forArrays && !(filler && count > 0);
        if (filler)
            continue;
        values.push_back(ExactBytes(static_cast<size_t>(bytes), input.character()));
        values.back()[0] = input.character();
        unpacked.push_back(ExactBytes(values.back().size()));
        const size_t i = values.size() - 1;
        packs[i] = reinterpret_cast<quintptr>(values[i].data());
        unpacks[i] = reinterpret_cast<quintptr>(unpacked[i].data());
        if (count == 0)
            std::memcpy(&packs[i], values[i].data(), values[i].size());
    }
    format += FAULTS[fault];
    const ExactBytes text(format.constData(), format.constData() + format.size() + 1);
    ExactBytes packed(static_cast<size_t>(size));
    const int all =
        DataPack(unsignedBytes(packed), text.data(), packs[0], packs[1], packs[2], packs[3]);
    const int used = DataUnpack(unsignedBytes(packed), text.data(), unpacks[0], unpacks[1],
                                unpacks[2], unpacks[3]);
    fuzzCheck(all == (fault == 0 ? size : fault == 4 ? 0 : -1), "the result of DataPack");
    fuzzCheck(used == (fault == 0 ? size : -1), "the result of DataUnpack");
    fuzzCheck(unpacked == values, "what was packed comes out otherwise");
    fuzzCheck(ByteArrayPack(text.data(), packs[0], packs[1], packs[2], packs[3]) ==
                  QByteArray(packed.data(), forArrays ? size : 0),
              "the bytes of ByteArrayPack");
}

// Sizes that are small, refer to a section or lie at an edge.
void setSections(TxPackage &package, const QByteArray &text)
{
    QList<int> sizes;
    qint64 sum = 0;
    for (int i = 0; i < text.size(); ++i) {
        const int size = static_cast<signed char>(text.at(i) - '0');
        sizes += size > 96 ? INT_MAX - 97 + size % 30 : size < -96 ? INT_MIN : size;
        sum += sizes.last();
    }
    package.sectionSizes = sizes;
    if (text.endsWith('!') || (sum > 512 && sum <= INT_MAX))
        return;
    package.setSectionSize(sizes);
    fuzzCheck(package.totalSize() == (sum < 0 || sum > INT_MAX ? 0 : sum), "a frame's length");
}

// One step with a frame.
void step(TxPackage &package, unsigned int what, quint32 number, QByteArray text)
{
    const QByteArray frame = package.buffer;
    const int lengths[] = {4, 2, 2, 2, 1, text.size(), frame.size()};
    const int counted = package.appendedCount;
    const bool good = what == 0   ? package.appendDWord(number)
                      : what == 1 ? package.appendWord(static_cast<unsigned short>(number))
                      : what == 2 ? package.appendByte2Ascii(static_cast<unsigned char>(number))
                      : what == 3 ? package.appendFCSAscii(0)
                      : what == 4 ? package.appendLRCByte()
                      : what == 5 ? package.appendString(QString::fromLatin1(text.constData()))
                      : what == 6 ? package.appendSection(package.buffer)
                                  : package.setData(exactBytes(text).data(), text.size());
    fuzzCheck(good && (what < 7 ? package.appendedCount - counted == lengths[what] &&
                                      package.sectionSizes.last() == lengths[what] &&
                                      package.buffer.size() == frame.size() + lengths[what] &&
                                      package.buffer.startsWith(frame)
                                : package.buffer == text),
              "a step with a frame");
    if (what > 7)
        setSections(package, text.left(12));
}

// Transmit frames: sections follow each other, and their data is the frame's.
void checkFrame(FuzzInput &input)
{
    TxPackage package;
    while (!input.atEnd() && package.numberOfSections() < 40 && package.totalSize() < 1024) {
        const unsigned int what = input.below(9);
        const quint32 number = input.number();
        step(package, what, number, what < 5 ? QByteArray() : input.text().replace('\0', ' '));
        qint64 start = 0;
        for (int i = 0; i < package.numberOfSections(); ++i) {
            const int said = package.sectionSizes.at(i);
            const int size = package.sectionSize(i);
            fuzzCheck(package.sectionStartIndex(i) == start && (said < 0 || said == size) &&
                          (said > -i || size == 0),
                      "where a section lies");
            const qint64 from = qMax<qint64>(0, start), all = package.totalSize();
            const qint64 length = (size < 0 ? all : qMin(all, start + size)) - from;
            fuzzCheck(package.dataAt(i) ==
                          (length > 0 ? package.buffer.mid(int(from), int(length)) : QByteArray()),
                      "the data of a section");
            start = qBound<qint64>(INT_MIN, start + size, INT_MAX);
        }
        const int past = package.numberOfSections();
        fuzzCheck(!package.validSectionNumber(past) && package.sectionStartIndex(past) == -1 &&
                      package.sectionSize(-1) == 0 && package.dataAt(past).isEmpty(),
                  "a section that is not there");
    }
    fuzzCheck(package.toString().count(QLatin1String("0X")) >= package.totalSize(), "a dump");
}

template <typename Setting>
QByteArray stored(const Setting &setting)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << setting;
    return bytes;
}

// A settings stream: what was read comes back from what is written of it, twice in one stream too.
template <typename Setting>
Setting readSetting(const QByteArray &bytes, QDataStream::ByteOrder order, const Setting &initial)
{
    const ExactBytes copy = exactBytes(bytes);
    Setting setting(initial), again(initial), behind(initial);
    QDataStream source(QByteArray::fromRawData(copy.data(), bytes.size()));
    source.setByteOrder(order);
    source >> setting;
    const QByteArray written = stored(setting);
    QDataStream twice(written + written);
    twice >> again >> behind;
    fuzzCheck(stored(again) == written && stored(behind) == written && twice.atEnd() &&
                  twice.status() == QDataStream::Ok && setting.auxText == initial.auxText,
              "a setting written and read again");
    return setting;
}

void checkSettings(FuzzInput &input)
{
    const QDataStream::ByteOrder order =
        input.below(2) == 1 ? QDataStream::LittleEndian : QDataStream::BigEndian;
    const QByteArray bytes = input.rest();
    const DriverSetting driver = readSetting(bytes, order, DriverSetting(1, 2, 3, 4));
    fuzzCheck(order == QDataStream::LittleEndian || bytes.size() < 16 ||
                  stored(driver) == bytes.left(16),
              "a driver setting's bytes");
    DeviceSetting device =
        readSetting(bytes, order, DeviceSetting(RS232Device, QLatin1String("COM2"), 1, 2, 3, 4));
    // Eight numbers, an empty text and the count take 40 bytes, an entry at least 6.
    fuzzCheck(device.socketData.size() <= 1 + qMax(0, bytes.size() - 40) / 6 &&
                  (device.port(-1) == 0 || device.currentIPIndex < device.socketData.size()),
              "more entries than bytes");
    const QString text = QString::fromLatin1(bytes.constData(), bytes.size());
    device.setSocketData(QList<QPair<QString, QString>>() << qMakePair(text, text));
    fuzzCheck(device.port(0) == 0 || text.toULongLong() == device.port(0), "a port's text");
}

// Addresses and numbers: what is read of a text stands in it, and a printed number is read.
void checkTexts(FuzzInput &input)
{
    const int length = static_cast<int>(input.below(64)) - 2;
    const quint32 value = input.number();
    const ExactBytes copy = exactBytes(input.rest());
    const QByteArray text = QByteArray::fromRawData(copy.data(), static_cast<int>(copy.size()));
    const QByteArray lower = QString::fromLatin1(copy.data(), text.size()).toLower().toLatin1();
    const int bases[] = {8, 10, 16};
    for (int base : bases) {
        bool ok = false;
        const quint32 number = NumberTextToUInt(text, base, &ok);
        fuzzCheck(ok ? lower.contains(QByteArray::number(number, base)) : number == 0, "a number");
        const int device = ExtractPLCDeviceAddress(text, base);
        fuzzCheck(device == 0 || lower.contains(QByteArray::number(device, base)), "a device");
        const QByteArray printed = QByteArray::number(value, base);
        fuzzCheck(NumberTextToUInt(printed, base, &ok) == value && ok, "a printed number");
        NumberTextToUInt(QByteArray::number(value + Q_UINT64_C(0x100000000), base), base, &ok);
        fuzzCheck(!ok && (base != 16 || HexToUInt(printed.constData(), printed.size()) == value),
                  "a printed number");
    }
    if (length <= text.size())
        HexToUInt(copy.data(), length);
    const QByteArray symbol = ExtractPrefixSymbol(text);
    fuzzCheck(text.startsWith(symbol) && ExtractPrefixSymbol(symbol) == symbol &&
                  ExtractPrefixSymbol(QString::fromLatin1(text.constData(), text.size())) == symbol,
              "the symbol of an address");
    QByteArray prefix;
    quint32 number = 0;
    const QByteArray address(copy.data(), text.size()); // with a zero behind it
    const int parsed = KV_L20V_ParseAddress(address, prefix, number);
    fuzzCheck(prefix.size() <= (parsed ? 4 : 2) &&
                  (number == 0 || lower.contains(QByteArray::number(number)) ||
                   lower.contains(QByteArray::number(number, 16))),
              "the parts of an address");
}

// Reply decoders: never beyond the room for the count, and what is accepted is what stands there.
void checkReplies(FuzzInput &input)
{
    static const struct {
        int (*decode)(const char *rsp, int length, int count, char *out);
        int bits, stride, part, base; // of a value; of an item; which number of it
    } ROWS[] = {{KV_L20V_HexWordsOf, 16, 5, 0, 16},  {KV_L20V_NumbersOf, 32, 11, 0, 10},
                {KV_L20V_CurrentsOf, 32, 24, 1, 10}, {KV_L20V_PresetsOf, 32, 24, 2, 10},
                {KV_L20V_BitsOf, 1, 2, 0, 10},       {KV_L20V_ContactsOf, 1, 24, 0, 10}};
    const int count = static_cast<int>(input.number() % 512);
    const QByteArray whole = input.rest();
    const ExactBytes reply = exactBytes(whole);
    const QByteArray text(whole.constData()); // up to the first zero byte
    for (const auto &row : ROWS) {
        ExactBytes out(static_cast<size_t>(count * row.bits + 7) / 8);
        const int stored = row.decode(reply.data(), whole.size(), count, out.data());
        if (stored < 0)
            continue;
        fuzzCheck(text.size() % row.stride == 1 && text.endsWith("\r\n"), "a length");
        fuzzCheck(stored == qMin(count, text.size() / row.stride), "how many values are stored");
        for (int i = 0; i < stored; ++i) {
            const QByteArray item = text.mid(i * row.stride, row.stride - 1);
            const quint64 said = item.split(',').at(row.part).toULongLong(0, row.base);
            const QByteArray data(out.data() + i * row.bits / 8, (row.bits + 7) / 8);
            const quint32 value = static_cast<quint32>(QByteArrayToInt(data));
            fuzzCheck((row.bits > 1 ? value : value >> i % 8 & 1) == qMin<quint64>(said, UINT_MAX),
                      "a value of a reply");
        }
    }
}

// Check values: of two halves, and of a frame closed by its own.
void checkValues(FuzzInput &input)
{
    const QByteArray bytes = input.rest();
    ExactBytes copy = exactBytes(bytes);
    const int size = bytes.size(), half = size / 2;
    const unsigned char *const data = unsignedBytes(copy), *const middle = data + half;
    fuzzCheck(UInt8CheckSum(data, size) ==
                      (UShortCheckSum(data, half) + UShortCheckSum(middle, size - half)) % 256 &&
                  (XorUInt8CheckSum(data, half) ^ XorUInt8CheckSum(middle, size - half)) ==
                      XorUInt8CheckSum(data, size),
              "the check value of two halves");
    ExactBytes closed = exactBytes(bytes + wordToByteArray(CRC16Calculate(data, size)));
    fuzzCheck(CRC16Calculate(unsignedBytes(closed), size + 2) == 0, "the CRC of a closed frame");
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    static void (*const SUBJECTS[])(FuzzInput &) = {checkPack,  checkFrame,   checkSettings,
                                                    checkTexts, checkReplies, checkValues};
    FuzzInput input(bytes, size);
    SUBJECTS[input.below(6)](input);
    return 0;
}
