// Every text that kvlink and kvsim take from their users.
#include "apps/decimal_range.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_input.h"
#include "fuzz/item_checks.h"
#include "fuzz/simulator_texts.h"
#include "runtime/escaped_text.h"
#include "runtime/serial_port.h"
#include "runtime/tcp_port.h"
#include "runtime/trace_log.h"

#include <QtCore/QTextStream>

namespace
{

const int MOST_VALUES = 9;

ItemDefaults defaultsOf(FuzzInput &input)
{
    ItemDefaults defaults;
    const unsigned int type = input.below(24);
    defaults.hasType = type >= 1 && type <= 11;
    if (defaults.hasType)
        defaults.type = static_cast<ItemType>(type - 1);
    defaults.count = static_cast<int>(input.below(4) * 341);
    defaults.eitherSign = input.below(2) == 1;
    return defaults;
}

bool checkItem(const QString &text, const ItemDefaults &defaults, Item *item)
{
    QString error;
    Item parsed;
    parsed.address = QStringLiteral("?");
    if (!parseItem(text, defaults, &parsed, &error)) {
        sameText(QStringLiteral("?"), parsed.address, "a refused item");
        checkMessage(error);
        return false;
    }
    fuzzCheck(parsed.count >= 1 && parsed.count <= MAX_ITEM_COUNT, "a count out of range");
    DeviceAddress again;
    fuzzCheck(parseDeviceAddress(parsed.device.at(parsed.device.number), &again), "no address");
    sameText(parsed.device.prefix, again.prefix, "the printed device");
    fuzzSame(parsed.device.number, again.number, "the printed number");
    checkPrinted(parsed);
    if (!parsed.values.isEmpty())
        checkValues(parsed);
    *item = parsed;
    return true;
}

void checkItems(FuzzInput input)
{
    const ItemDefaults defaults = defaultsOf(input);
    MergeOptions options;
    options.merge = input.below(4) != 1;
    options.maxGap = static_cast<int>(input.below(32));
    const QByteArray data = fuzzPattern(4 * MOST_VALUES, input);
    QVector<Item> items;
    while (!input.atEnd()) {
        Item item;
        if (checkItem(QString::fromUtf8(input.text()), defaults, &item))
            items += item;
    }
    // One item's data will do, and not much of it: more differs in nothing but time.
    if (!items.isEmpty() && items.last().count <= MOST_VALUES)
        checkData(items.last(), data.left(itemBytes(items.last())));
    checkPlan(items, options);
}

void checkDecimal(FuzzInput input)
{
    static const struct {
        int min;
        int max;
        CLI::Validator range;
    } rows[] = {
        {0, 99, decimalRange(0, 99)},
        {1, MAX_ITEM_COUNT, decimalRange(1, MAX_ITEM_COUNT)},
        {0, 999999999, decimalRange(0, 999999999)},
    };
    const auto &row = rows[input.below(3)];
    const QByteArray text = input.rest();
    bool digits = !text.isEmpty() && text.size() <= 9;
    for (char c : text)
        digits = digits && c >= '0' && c <= '9';
    const qint64 value = digits ? text.toLongLong() : -1;
    std::string argument(text.constData(), static_cast<size_t>(text.size()));
    const std::string error = row.range(argument);
    fuzzSame(value >= row.min && value <= row.max, error.empty(), "whether it is in the range");
    if (error.empty())
        fuzzSame(QByteArray::number(value), QByteArray::fromStdString(argument), "the number");
}

void checkPorts(const QByteArray &bytes)
{
    const QString text = QString::fromUtf8(bytes);
    QString error;
    SerialPortSetting serial;
    if (parseSerialPort(text, &serial, &error)) {
        fuzzCheck(!serial.device.isEmpty() && serial.baudRate >= 50 && serial.baudRate <= 4000000,
                  "a port out of range", bytes);
        sameText(serial.device, text.section(QLatin1Char(','), 0, 0), "the device");
    } else {
        fuzzCheck(!error.isEmpty(), "a port refused without a reason", bytes);
    }
    error.clear();
    TcpAddress tcp;
    if (!parseTcpAddress(text, &tcp, &error)) {
        fuzzCheck(!error.isEmpty(), "an address refused without a reason", bytes);
        return;
    }
    const bool bracketed = text.startsWith(QLatin1Char('['));
    const QString host = bracketed ? QLatin1Char('[') + tcp.host + QLatin1Char(']') : tcp.host;
    sameText(host + QLatin1Char(':'), text.left(text.lastIndexOf(QLatin1Char(':')) + 1),
             "the host");
    fuzzCheck(tcp.port >= 1 && !tcp.host.isEmpty(), "an address out of range", bytes);
}

// Bytes that were logged can be read back from the log; any other line is read or refused.
void checkTrace(const QByteArray &bytes)
{
    static const QString head = QStringLiteral("2026-11-22T21:09:01.123 0.001250 +0.000310 #1 > ");
    static QString out;
    static QTextStream stream(&out);
    static TraceLog log(stream);
    checkMessage(escapedText(bytes) + QLatin1Char('.'));
    TracedLine line;
    if (parseTracedLine(head + QString::fromUtf8(bytes), &line))
        fuzzCheck(line.direction == '>', "the direction", bytes);
    if (bytes.isEmpty())
        return;
    const char direction = bytes.size() % 2 == 0 ? '>' : '<';
    out.clear();
    stream.seek(0);
    log.line(direction, bytes, bytes.size() % 3);
    fuzzCheck(parseTracedLine(out.trimmed(), &line), "a logged line is refused", bytes);
    fuzzSame(bytes, line.bytes, "logged bytes");
    fuzzSame(direction, line.direction, "the direction");
}

} // namespace

// What the text is, then its options and the text.
int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    switch (input.character()) {
    case 'd':
        checkDecimal(input);
        break;
    case 'p':
        checkPorts(input.rest());
        break;
    case 't':
        checkTrace(input.rest());
        break;
    case 'f':
        checkFaults(input.rest(), true);
        break;
    case 'F':
        checkFaults(input.rest(), false);
        break;
    case 'l': {
        const quint32 elapsed = input.number();
        checkLiveValues(input.rest(), elapsed);
        break;
    }
    case 's':
        checkPreset(input.rest());
        break;
    case 'm':
        checkImage(input.rest());
        break;
    default:
        checkItems(input);
    }
    return 0;
}
