// Every text that kvlink takes from its users, and the data of its replies.
#include "apps/option_checks.h"
#include "fuzz/fuzz_check.h"
#include "items/item_plan.h"
#include "items/item_values.h"
#include "items/named_items.h"
#include "items/tag_file.h"
#include "runtime/capture.h"
#include "runtime/escaped_text.h"
#include "runtime/serial_port.h"
#include "runtime/tcp_port.h"
#include "runtime/trace_log.h"

#include <QtCore/QBuffer>
#include <QtCore/QTextStream>

namespace
{

// Reads an item. Printed with its plain values, an accepted one means the same.
bool readItem(const QString &text, const ItemDefaults &defaults, Item *item)
{
    if (const Failure failure = parseItem(text, defaults, item)) {
        fuzzCheck(item->address.isEmpty() && !failure.text().isEmpty(), "a refused item");
        for (const QChar c : failure.text())
            fuzzCheck(c.unicode() >= 0x20 && c.unicode() <= 0x7E, "a text that cannot be shown");
        return false;
    }
    fuzzCheck(item->count >= 1 && item->count <= MAX_ITEM_COUNT, "a count out of range");
    const QString head = QStringLiteral("%1:%2[%3]")
                             .arg(item->device.at(item->device.number), itemTypeName(item->type),
                                  QString::number(item->count));
    const QStringList values = item->values.isEmpty() ? QStringList() : plainValues(*item);
    Item printed;
    QByteArray data;
    fuzzCheck(values.isEmpty()
                  ? parseItem(head, defaults, &printed).isGood()
                  : parseItem(head, values, defaults, &printed).isGood() &&
                        plainValues(printed) == values &&
                        packValues(*item, WordOrder::HighFirst, &data).isGood() &&
                        (item->type == ItemType::Bit || data.size() == itemBytes(*item)),
              "a printed item");
    fuzzCheck(printed.device.at(printed.device.number) == head.section(QLatin1Char(':'), 0, 0) &&
                  printed.type == item->type && printed.count == item->count,
              "a printed item's parts");
    return true;
}

// Any data of a reply is refused, or its values can be written.
void checkData(Item item, char first, char last)
{
    ExactBytes data(static_cast<size_t>(itemBytes(item)), first);
    data.back() = last;
    QByteArray bytes = QByteArray::fromRawData(data.data(), itemBytes(item));
    if (unpackValues(item, WordOrder::LowFirst, bytes, &item.values))
        return;
    // Decimals may round up beyond the range, and bytes may be no characters.
    const bool isExact = !item.tag.isScaled() && item.textForm.encoding.isEmpty();
    const Failure failure = packValues(item, WordOrder::LowFirst, &bytes);
    fuzzCheck(failure.isGood() || !isExact, "the values of data");
}

// A tag file has errors or tags that are found by their names, whose data become values.
void checkTags(FuzzInput &input)
{
    ItemDefaults defaults;
    const unsigned int encoding = input.below(4);
    defaults.textForm.encoding = textEncodings().value(static_cast<int>(encoding)).toLatin1();
    defaults.textForm.highByteFirst = input.below(2) == 1;
    const char first = input.character();
    const TagFile file = parseTagFile(input.rest(), QLatin1String("tags"));
    for (const QString &error : file.errors)
        fuzzCheck(printableText(error) == error, "an error that cannot be shown");
    for (int i = 0; file.errors.isEmpty() && i < file.tags.size() && i < 9; ++i) {
        QVector<Item> found;
        parseNamedItems(file.tags.at(i).text, file.tags, defaults, &found);
        fuzzCheck(found.size() == 1 && found.first().tag.name == file.tags.at(i).tag.name, "a tag");
        checkData(found.first(), first, static_cast<char>(first + i));
    }
}

// The requests bring every byte of every item once.
void checkPlan(const QVector<Item> &items, const MergeOptions &options)
{
    QVector<QByteArray> missing;
    for (const Item &item : items)
        missing += QByteArray(itemBytes(item), '\1');
    for (const ItemRequest &request : planRequests(items, options)) {
        for (const ItemPart &part : request.parts) {
            QByteArray &bytes = missing[part.item];
            fuzzCheck(part.from >= 0 && part.from + part.length <= request.command.byteLength() &&
                          bytes.mid(part.to, part.length) == QByteArray(part.length, '\1'),
                      "a part of an item");
            bytes.replace(part.to, part.length, QByteArray(part.length, '\0'));
        }
        fuzzCheck(options.merge || request.parts.size() == 1, "items that share a request");
        splitRequest(items, request);
    }
    for (const QByteArray &bytes : missing)
        fuzzCheck(!bytes.contains('\1'), "a byte of an item that no request brings");
}

void checkItems(FuzzInput &input)
{
    ItemDefaults defaults;
    const unsigned int type = input.below(24);
    defaults.hasType = type >= 1 && type <= 11;
    defaults.type = static_cast<ItemType>(defaults.hasType ? type - 1 : 0);
    defaults.count = static_cast<int>(input.below(4) * 341);
    defaults.eitherSign = input.below(2) == 1;
    MergeOptions options;
    options.merge = input.below(4) != 1;
    options.maxGap = static_cast<int>(input.below(32));
    const char first = input.character();
    QVector<Item> items;
    while (!input.atEnd()) {
        Item item;
        if (!readItem(QString::fromUtf8(input.text()), defaults, &item))
            continue;
        items += item;
        if (item.count < 9)
            checkData(item, first, static_cast<char>(item.count + first));
    }
    checkPlan(items, options);
}

void checkNumbersAndPorts(FuzzInput &input)
{
    static const CLI::Validator range = decimalRange(1, MAX_ITEM_COUNT);
    const QByteArray bytes = input.rest();
    std::string argument(bytes.constData(), static_cast<size_t>(bytes.size()));
    fuzzCheck(!range(argument).empty() || argument == std::to_string(bytes.toInt()), "a number");
    const QString text = QString::fromUtf8(bytes);
    SerialPortSetting serial;
    fuzzCheck(parseSerialPort(text, &serial)
                  ? serial.device.isEmpty()
                  : text.startsWith(serial.device) && serial.baudRate >= 50,
              "a serial port");
    TcpAddress tcp;
    fuzzCheck(parseTcpAddress(text, &tcp)
                  ? tcp.host.isEmpty()
                  : text.contains(tcp.host) && text.endsWith(QString::number(tcp.port)),
              "an address");
}

// Bytes that were logged can be read back from the log; any other line is read or refused.
void checkTrace(FuzzInput &input)
{
    const QByteArray bytes = input.rest() + "\r\n";
    const char direction = bytes.size() % 2 == 0 ? '>' : '<';
    TracedLine line;
    parseTracedLine(QString::fromUtf8(bytes), &line);
    QString out;
    QTextStream stream(&out);
    TraceLog(stream).line(direction, bytes, bytes.size() % 3);
    fuzzCheck(parseTracedLine(out.trimmed(), &line) && line.bytes == bytes &&
                  line.direction == direction,
              "a logged line");
    for (const QChar c : out.trimmed() + escapedText(bytes))
        fuzzCheck(c.unicode() >= 0x20 && c.unicode() <= 0x7E, "a line that cannot be shown");
    QByteArray captured = bytes + out.toLatin1();
    QBuffer file(&captured);
    CaptureSummary summary;
    int lines = 0;
    file.open(QIODevice::ReadOnly);
    readCapture(
        file,
        [&](const CapturedLine &read) {
            summary.add(read);
            return ++lines > 0;
        },
        [](int) {});
    fuzzCheck(lines > 0 && summary.finish().size() >= 2, "a capture");
}

} // namespace

// What the text is, then its options and the text.
int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    const char subject = input.character();
    (subject == 'p'   ? checkNumbersAndPorts
     : subject == 't' ? checkTrace
     : subject == 'c' ? checkTags
                      : checkItems)(input);
    return 0;
}
