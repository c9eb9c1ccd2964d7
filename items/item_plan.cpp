#include "items/item_plan.h"

#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"

#include <algorithm>

namespace
{

// Characters on the wire for a read of a word, besides those of its data: the lines that open, ask
// and close, their replies, and the ends of all.
const int REQUEST_CHARACTERS = 42;

// A byte of data is half of a word's four digits and blank.
const double CHARACTERS_OF_BYTE = 2.5;

// Words of one device that one item wants.
struct Span {
    int item;
    quint32 first;
    int words;
    int to; // first byte in the item's data

    quint32 end() const { return first + static_cast<quint32>(words); }
};

bool isOfWords(const Item &item)
{
    return item.type != ItemType::Bit &&
           (item.device.form == DeviceForm::Words || item.device.form == DeviceForm::Channels);
}

CommunicatorCommand command(CommandKind kind, int count, const QString &address)
{
    return CommunicatorCommand(kind, static_cast<quint32>(count), address);
}

QVector<Span> spansOf(const Item &item, int index)
{
    QVector<Span> spans;
    const int words = (itemBytes(item) + 1) / 2;
    // Whole values only: one that came in two replies could be half old, half new.
    const int most = KV_L20V_MAX_WORDS - (itemBits(item) == 32 ? KV_L20V_MAX_WORDS % 2 : 0);
    for (int done = 0; done < words; done += most)
        spans += Span{index, item.device.number + static_cast<quint32>(done),
                      qMin(most, words - done), 2 * done};
    return spans;
}

// The request for spans of one device that lie between the first one's start and an end.
ItemRequest wordRequest(const QVector<Item> &items, const QVector<Span> &spans, quint32 end)
{
    const quint32 first = spans.first().first;
    const DeviceAddress &device = items.at(spans.first().item).device;
    ItemRequest request = {command(Word, static_cast<int>(end - first), device.at(first)),
                           QVector<ItemPart>()};
    for (const Span &span : spans) {
        const int from = 2 * static_cast<int>(span.first - first);
        const int rest = itemBytes(items.at(span.item)) - span.to;
        request.parts += ItemPart{span.item, from, span.to, qMin(2 * span.words, rest)};
    }
    return request;
}

// Most bits or values in one reply.
int roomFor(const Item &item)
{
    if (item.device.form == DeviceForm::Channels)
        return KV_L20V_MAX_BITS;
    const KV_L20V_Device &device = KV_L20V_DeviceOf(item.address.toLatin1());
    const bool areNumbers = item.type != ItemType::Bit && device.forms.read == KV_L20V_Numbers;
    return areNumbers ? KV_L20V_MAX_NUMBERS : KV_L20V_MAX_TIMER_ITEMS;
}

// Bits and values: one item a request, or several requests for a large item.
void planNumbers(const Item &item, int index, QVector<ItemRequest> *requests)
{
    const bool bits = item.type == ItemType::Bit;
    const int room = roomFor(item);
    for (int done = 0; done < item.count; done += room) {
        const int count = qMin(room, item.count - done);
        const QString address = done == 0 ? item.address : valueAddress(item, done);
        const ItemRequest request = {command(bits ? Bit : DoubleWord, count, address),
                                     QVector<ItemPart>()};
        requests->append(request);
        const int to = bits ? done / 8 : 4 * done;
        requests->last().parts += ItemPart{index, 0, to, request.command.byteLength()};
    }
}

// What another driver divides, or refuses, as it has to.
ItemRequest wholeRequest(const Item &item, int index)
{
    return {itemCommand(item), {ItemPart{index, 0, 0, itemBytes(item)}}};
}

// Requests for spans in the order of their devices and first words.
void mergeSpans(const QVector<Item> &items, const QVector<Span> &spans, const MergeOptions &options,
                QVector<ItemRequest> *requests)
{
    QVector<Span> block;
    quint32 end = 0;
    for (const Span &span : spans) {
        const bool joins =
            options.merge && !block.isEmpty() &&
            items.at(block.first().item).device.prefix == items.at(span.item).device.prefix &&
            span.first <= end + static_cast<quint32>(options.maxGap) &&
            span.end() - block.first().first <= static_cast<quint32>(KV_L20V_MAX_WORDS);
        if (!joins && !block.isEmpty()) {
            *requests += wordRequest(items, block, end);
            block.clear();
            end = 0;
        }
        block += span;
        end = qMax(end, span.end());
    }
    if (!block.isEmpty())
        *requests += wordRequest(items, block, end);
}

double charactersOf(const QVector<ItemRequest> &requests)
{
    double characters = 0;
    for (const ItemRequest &request : requests)
        characters += REQUEST_CHARACTERS + CHARACTERS_OF_BYTE * request.command.byteLength();
    return characters;
}

int firstItem(const ItemRequest &request)
{
    int first = request.parts.first().item;
    for (const ItemPart &part : request.parts)
        first = qMin(first, part.item);
    return first;
}

} // namespace

CommunicatorCommand itemCommand(const Item &item)
{
    CommandKind kind = DoubleWord;
    if (item.type == ItemType::Bit)
        kind = Bit;
    else if (itemBits(item) < 32)
        kind = itemBits(item) == 8 ? Byte : Word;
    return command(kind, kind == Byte ? itemBytes(item) : item.count, item.address);
}

QVector<ItemRequest> planRequests(const QVector<Item> &items, const MergeOptions &options)
{
    QVector<ItemRequest> requests;
    QVector<Span> spans;
    for (int i = 0; i < items.size(); ++i) {
        if (isOfWords(items.at(i)))
            spans += spansOf(items.at(i), i);
        else if (items.at(i).device.form == DeviceForm::Unknown)
            requests += wholeRequest(items.at(i), i);
        else
            planNumbers(items.at(i), i, &requests);
    }
    const auto before = [&items](const Span &a, const Span &b) {
        const QString &deviceA = items.at(a.item).device.prefix;
        const QString &deviceB = items.at(b.item).device.prefix;
        return deviceA == deviceB ? a.first < b.first : deviceA < deviceB;
    };
    if (options.merge)
        std::stable_sort(spans.begin(), spans.end(), before);
    mergeSpans(items, spans, options, &requests);
    std::stable_sort(
        requests.begin(), requests.end(),
        [](const ItemRequest &a, const ItemRequest &b) { return firstItem(a) < firstItem(b); });
    return requests;
}

QVector<ItemRequest> planItem(const Item &item)
{
    MergeOptions apart;
    apart.merge = false;
    return planRequests(QVector<Item>() << item, apart);
}

QVector<ItemRequest> splitRequest(const QVector<Item> &items, const ItemRequest &request)
{
    QVector<ItemRequest> requests;
    for (const ItemPart &part : request.parts) {
        const quint32 first = items.at(part.item).device.number + static_cast<quint32>(part.to / 2);
        requests += wordRequest(
            items, QVector<Span>() << Span{part.item, first, (part.length + 1) / 2, part.to},
            first + static_cast<quint32>((part.length + 1) / 2));
    }
    return requests;
}

int itemsWithin(const QVector<Item> &items, const MergeOptions &options, double share)
{
    const double room = share * charactersOf(planRequests(items, options));
    int count = items.size();
    while (count > 0 && charactersOf(planRequests(items.mid(0, count), options)) > room)
        --count;
    return count;
}
