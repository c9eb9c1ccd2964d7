/// What holds for every item that kvlink accepts, and for the requests that read it.
#ifndef FUZZ_ITEM_CHECKS_H
#define FUZZ_ITEM_CHECKS_H

#include "items/expression.h"
#include "items/item_plan.h"
#include "items/item_values.h"
#include "fuzz/fuzz_check.h"
#include "fuzz/fuzz_input.h"

/// A message for people: something, in characters that a terminal shows.
inline void checkMessage(const QString &message)
{
    bool shown = !message.isEmpty();
    for (const QChar c : message)
        shown = shown && c.unicode() >= 0x20 && c.unicode() <= 0x7E;
    if (!shown)
        fuzzCheck(false, "a message that cannot be shown", message.toUtf8());
}

inline void sameText(const QString &expected, const QString &got, const char *what)
{
    if (expected != got)
        fuzzSame(expected.toUtf8(), got.toUtf8(), what);
}

inline QString printedHead(const Item &item)
{
    return QString::fromLatin1("%1:%2[%3]")
        .arg(item.address, itemTypeName(item.type), QString::number(item.count));
}

inline QByteArray packed(const Item &item, WordOrder order)
{
    QByteArray data;
    QString error;
    fuzzCheck(packValues(item, order, &data, &error), "accepted values cannot be packed");
    fuzzSame(item.type == ItemType::Bit ? item.count : itemBytes(item), data.size(),
             "bytes of the values");
    return data;
}

/// Printed and read again, an item is the same, whatever the defaults.
inline void checkPrinted(const Item &item)
{
    ItemDefaults others;
    others.hasType = true;
    others.type = ItemType::Bcd;
    others.count = 7;
    others.eitherSign = item.eitherSign;
    const bool writes = !item.values.isEmpty();
    const QString values = item.values.join(QLatin1Char(','));
    const QString head = printedHead(item);
    Item whole;
    QString error;
    fuzzCheck(parseItem(writes ? head + QLatin1Char('=') + values : head, others, &whole, &error),
              "a printed item is refused");
    sameText(head, printedHead(whole), "a printed item");
    sameText(values, whole.values.join(QLatin1Char(',')), "a printed item's values");
    if (!writes)
        return;
    Item apart;
    fuzzCheck(parseItem(head, item.values, others, &apart, &error), "values apart are refused");
    fuzzSame(packed(item, WordOrder::LowFirst), packed(apart, WordOrder::LowFirst), "the data");
}

/// What was written reads back as the plain values, and these mean the same.
inline void checkValues(const Item &item)
{
    Item plain = item;
    plain.values = plainValues(item);
    fuzzSame(item.values.size(), plain.values.size(), "plain values");
    const QByteArray data = packed(item, WordOrder::HighFirst);
    const QByteArray again = packed(plain, WordOrder::HighFirst);
    if (item.type != ItemType::F32)
        fuzzSame(data, again, "the data of the plain values"); // a float has two zeros
    sameText(plain.values.join(QLatin1Char(',')), plainValues(plain).join(QLatin1Char(',')),
             "the plain values of the plain values");
}

/// Data of a reply gives one text a value, which is written as the same data.
inline void checkData(const Item &item, const QByteArray &data)
{
    QStringList texts;
    QString error;
    if (!unpackValues(item, WordOrder::HighFirst, data, &texts, &error)) {
        fuzzCheck(item.type == ItemType::Bcd, "data that is no value", data);
        checkMessage(error);
        return;
    }
    Item again = item;
    again.values = texts;
    fuzzSame(item.type == ItemType::String ? 1 : item.count, texts.size(), "values of the data");
    const QByteArray written = packed(again, WordOrder::HighFirst);
    if (item.type == ItemType::Bit) {
        for (int i = 0; i < item.count; ++i)
            fuzzSame((data.at(i / 8) >> i % 8) & 1, written.at(i), "a bit");
        return;
    }
    if (item.type == ItemType::String) {
        const int length = texts.first().size();
        fuzzCheck(length == item.count || data.at(length) == '\0', "a text ends early", data);
        fuzzSame(data.left(length), written.left(length), "the text");
    } else if (item.type != ItemType::F32) {
        fuzzSame(data, written, "the data of the values");
    }
    QStringList texts2;
    fuzzCheck(unpackValues(again, WordOrder::HighFirst, written, &texts2, &error),
              "written values are refused", written);
    sameText(texts.join(QLatin1Char(',')), texts2.join(QLatin1Char(',')), "the values read again");
}

/// Most items of one request, by the longest reply there is.
inline quint32 mostOf(const ItemRequest &request, const Item &item)
{
    if (request.command.kind == Word)
        return 307;
    return request.command.kind == Bit && item.device.form == DeviceForm::Channels ? 768 : 64;
}

/// The address that a request has to begin with to bring a part.
inline QString addressOf(const Item &item, const ItemPart &part)
{
    if (item.type != ItemType::Bit && item.device.form != DeviceForm::Values)
        return item.device.at(item.device.number + static_cast<quint32>((part.to - part.from) / 2));
    if (part.to == 0)
        return item.address;
    return valueAddress(item, item.type == ItemType::Bit ? part.to * 8 : part.to / 4);
}

/// Whether an item begins with a relay that no channel has, such as R16.
inline bool isOfNoChannel(const Item &item)
{
    return item.type == ItemType::Bit && item.device.form == DeviceForm::Channels &&
           item.device.base == 10 && item.device.number % 100 > 15;
}

/// One request, which adds what it brings to the bytes seen of each item.
inline void checkRequest(const QVector<Item> &items, const ItemRequest &request, int maxGap,
                         QVector<QByteArray> *seen)
{
    fuzzCheck(!request.parts.isEmpty() && request.command.count >= 1, "an empty request");
    int end = 0;
    for (const ItemPart &part : request.parts) {
        const Item &item = items.at(part.item);
        if (!isOfNoChannel(item))
            sameText(addressOf(item, part), request.command.address, "where a request begins");
        fuzzCheck(request.command.count <= mostOf(request, item), "too large a request");
        fuzzCheck(part.from >= 0 && part.length >= 1 &&
                      part.from + part.length <= request.command.byteLength(),
                  "a part that the reply does not hold");
        fuzzCheck(part.from <= end + 1 + 2 * maxGap, "too many words for nothing");
        end = qMax(end, part.from + part.length);
        QByteArray &bytes = (*seen)[part.item];
        fuzzCheck(part.to >= 0 && part.to + part.length <= bytes.size(), "more than the item");
        char *at = bytes.data() + part.to;
        for (int i = 0; i < part.length; ++i)
            ++at[i];
    }
    fuzzCheck(request.command.byteLength() - end <= 1, "words behind the last item");
}

/// The requests bring every byte of every item once.
inline void checkPlan(const QVector<Item> &items, const MergeOptions &options)
{
    QVector<QByteArray> none;
    for (const Item &item : items)
        none += QByteArray(itemBytes(item), '\0');
    QVector<QByteArray> merged = none;
    QVector<QByteArray> split = none;
    for (const ItemRequest &request : planRequests(items, options)) {
        checkRequest(items, request, options.maxGap, &merged);
        fuzzCheck(options.merge || request.parts.size() == 1, "items that share a request");
        if (request.parts.size() > 1) {
            for (const ItemRequest &part : splitRequest(items, request))
                checkRequest(items, part, 0, &split);
        } else {
            checkRequest(items, request, 0, &split);
        }
    }
    for (int i = 0; i < items.size(); ++i) {
        const QByteArray once(none.at(i).size(), '\1');
        fuzzSame(once, merged.at(i), "how often the bytes of an item come");
        fuzzSame(once, split.at(i), "how often they come in requests of their own");
    }
}

#endif
