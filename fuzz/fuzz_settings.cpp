// Settings streams: whatever the bytes, what was read of them comes back when it is written and read
// again, and what is not in the stream stays.
#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_input.h"
#include "tests/tools/settings_io.h"
#include "tools/drv_dev_setting.h"

namespace
{

void checkSame(const DeviceSetting &a, const DeviceSetting &b)
{
    fuzzCheck(a.type == b.type && a.string == b.string && a.baudrate == b.baudrate &&
                  a.databits == b.databits && a.stopbits == b.stopbits && a.parity == b.parity &&
                  a.auxValue == b.auxValue && a.linkID == b.linkID,
              "a device setting's values", a.string.toUtf8() + '|' + b.string.toUtf8());
    fuzzSame(a.socketData.size(), b.socketData.size(), "the number of entries");
    fuzzCheck(a.socketData == b.socketData, "a device setting's entries");
    fuzzSame(a.currentIPIndex, b.currentIPIndex, "the current entry");
}

void checkDevice(const QByteArray &bytes, QDataStream::ByteOrder order)
{
    DeviceSetting setting(RS232Device, QLatin1String("COM2"), 1, 2, 3, 4, 5, QLatin1String("aux"));
    setting.currentIPIndex = 7;
    readInto(setting, bytes, order);
    // Eight numbers, an empty text and the count take 40 bytes, an entry at least 6.
    const int mostEntries = 1 + qMax(0, bytes.size() - 40) / 6;
    fuzzCheck(setting.socketData.size() <= mostEntries, "more entries than bytes");
    fuzzCheck(setting.auxText == QLatin1String("aux"), "the auxiliary text changed");
    const bool current = setting.currentIPIndex < setting.socketData.size();
    fuzzSame(current ? setting.socketData.at(setting.currentIPIndex).second : 0, setting.port(-1),
             "the current port");
    DeviceSetting again(RS232Device, QString(), 0, 0, 0, 0);
    again.currentIPIndex = current ? 0 : setting.currentIPIndex;
    readInto(again, written(setting, order), order);
    checkSame(setting, again);
}

void checkDriver(const QByteArray &bytes, QDataStream::ByteOrder order)
{
    DriverSetting setting(1, 2, 3, 4, QString(), 5, QLatin1String("aux"), true);
    readInto(setting, bytes, order);
    if (bytes.size() >= 16)
        fuzzSame(bytes.left(16), written(setting, order), "a driver setting's bytes");
    fuzzCheck(setting.auxText == QLatin1String("aux") && setting.auxFlag, "what is not streamed");
    DriverSetting again(0, 0, 0, 0);
    const QByteArray stored = written(setting, order);
    fuzzSame(16, stored.size(), "the length of a driver setting");
    readInto(again, stored, order);
    fuzzSame(stored, written(again, order), "a driver setting read again");
}

void putText(QDataStream &stream, FuzzInput &input)
{
    const QByteArray units = input.bytes(2 * static_cast<int>(input.below(6)));
    const quint32 claim = input.below(128);
    stream << (claim == 127  ? input.number()
               : claim > 120 ? claim
                             : static_cast<quint32>(units.size()));
    stream.writeRawData(units.constData(), units.size());
}

// Bytes with the fields of a device setting, more or less: texts of any length cost much time.
QByteArray likelyDevice(FuzzInput &input, QDataStream::ByteOrder order)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    const int cut = static_cast<int>(input.below(256));
    stream << input.number();
    putText(stream, input);
    for (int i = 0; i < 6; ++i)
        stream << input.size();
    stream << input.size() - 1 << input.size();
    while (!input.atEnd()) {
        putText(stream, input);
        stream << static_cast<quint16>(input.size());
    }
    bytes.chop(cut < 192 ? 0 : cut - 192);
    return bytes;
}

} // namespace

// The record, the byte order, "0" for bytes as they stand, and the bytes.
int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    const bool device = input.below(2) == 1;
    const QDataStream::ByteOrder order =
        input.below(2) == 1 ? QDataStream::LittleEndian : QDataStream::BigEndian;
    const bool asTheyStand = input.below(32) == 0 || !device;
    const QByteArray stored = asTheyStand ? input.rest() : likelyDevice(input, order);
    if (device)
        checkDevice(stored, order);
    else
        checkDriver(stored, order);
    return 0;
}
