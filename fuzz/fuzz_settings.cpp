// Settings streams: any bytes against a plain reader, then what was read, written and read again.
#include "fuzz/fuzz_check.h"
#include "fuzz/settings_model.h"
#include "tests/settings_io.h"

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
    const DeviceSetting expected =
        plainDevice(PlainReader(bytes, order == QDataStream::LittleEndian), setting);
    readInto(setting, bytes, order);
    checkSame(expected, setting);
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
    PlainReader reader(bytes, order == QDataStream::LittleEndian);
    readInto(setting, bytes, order);
    const int *const numbers[] = {&setting.timeout, &setting.retry, &setting.stationid,
                                  &setting.delay};
    for (const int *number : numbers)
        fuzzSame(static_cast<qint32>(reader.number(4)), *number, "a driver setting's number");
    fuzzCheck(setting.auxText == QLatin1String("aux") && setting.auxFlag, "what is not streamed");
    DriverSetting again(0, 0, 0, 0);
    const QByteArray stored = written(setting, order);
    fuzzSame(16, stored.size(), "the length of a driver setting");
    readInto(again, stored, order);
    fuzzSame(stored, written(again, order), "a driver setting read again");
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
