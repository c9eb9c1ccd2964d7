#include "items/named_items.h"

#include "runtime/escaped_text.h"

#include <QtCore/QRegularExpression>

#include <functional>

namespace
{

bool isWildcard(const QString &name)
{
    return name.contains(QLatin1Char('*')) || name.contains(QLatin1Char('?'));
}

// Text in front of the values, taken apart. A link comes in front of a colon, as a type does behind
// one; an address of the PLC has a type behind it, unless what follows is an address as well.
struct ItemHead {
    QString link;
    QString name;
};

ItemHead takeApart(const QString &text, const ItemDefaults &defaults)
{
    static const QRegularExpression ending(QLatin1String("[:\\[].*"));
    const auto isAddress = [&defaults](QString address) {
        DeviceAddress device;
        return !defaults.otherDriver && parseDeviceAddress(address.remove(ending), &device) &&
               device.isKnown;
    };
    const QString link = text.section(QLatin1Char(':'), 0, 0);
    const QString rest = text.mid(link.size() + 1);
    ItemType type = ItemType::U16;
    const bool isType = itemTypeByName(rest.section(QLatin1Char('['), 0, 0).toLower(), &type);
    if (link.isEmpty() || rest.isEmpty() || isType || (isAddress(link) && !isAddress(rest)))
        return {QString(), text};
    return {link, rest};
}

// @param link that they are on, if they name one; empty for any
QVector<Item> tagsNamed(const QString &name, const QString &link, const QVector<Item> &tags,
                        const TextForm &form)
{
    const QString pattern = QRegularExpression::escape(name)
                                .replace(QLatin1String("\\*"), QLatin1String(".*"))
                                .replace(QLatin1String("\\?"), QLatin1String("."));
    const QRegularExpression wildcard(QRegularExpression::anchoredPattern(pattern));
    QVector<Item> named;
    for (const Item &tag : tags) {
        if (!link.isEmpty() && !tag.link.isEmpty() && tag.link != link)
            continue;
        if (isWildcard(name) ? wildcard.match(tag.text).hasMatch() : tag.text == name) {
            named += tag;
            named.last().textForm = form;
        }
    }
    return named;
}

// Why a text is no item, where it may be a name.
Failure notNamed(const ItemHead &head, const QVector<Item> &tags, const Failure &failure)
{
    const QString &name = head.name;
    const QVector<Item> elsewhere = tagsNamed(name, QString(), tags, TextForm());
    if (!elsewhere.isEmpty())
        return Failure(
            failure.status(),
            QString::fromLatin1("\"%1\" is on link \"%2\" in the tag file, not on \"%3\"")
                .arg(printableText(name), printableText(elsewhere.first().link),
                     printableText(head.link)));
    static const QRegularExpression ending(QLatin1String("[:\\[].*"));
    const QString start = QString(name).remove(ending);
    if (start != name && !tagsNamed(start, QString(), tags, TextForm()).isEmpty())
        return Failure(failure.status(),
                       QString::fromLatin1("\"%1\": %2 takes no :TYPE and no [COUNT], which are "
                                           "in the tag file")
                           .arg(printableText(name), printableText(start)));
    DeviceAddress address;
    const bool isAddress = name.contains(QLatin1Char(':')) || name.contains(QLatin1Char('[')) ||
                           parseDeviceAddress(name, &address);
    if (isAddress && !isWildcard(name))
        return failure;
    if (tags.isEmpty())
        return Failure(failure.status(),
                       failure.text() + QLatin1String("; for a name give --tags FILE"));
    return Failure(failure.status(),
                   QString::fromLatin1("\"%1\" is neither a name in the tag file nor an address "
                                       "such as DM100")
                       .arg(printableText(name)));
}

// @param give  gives the values to a tag
// @param parse makes an item of what is no name
Failure readNamed(const ItemHead &head, const QVector<Item> &tags, const TextForm &form,
                  const std::function<Failure(Item *)> &give,
                  const std::function<Failure(Item *)> &parse, QVector<Item> *items)
{
    QVector<Item> named = tagsNamed(head.name, head.link, tags, form);
    for (Item &item : named) {
        if (Failure failure = give(&item))
            return failure;
    }
    if (named.isEmpty()) {
        named.resize(1);
        if (Failure failure = parse(&named.first()))
            return notNamed(head, tags, failure);
    }
    for (Item &item : named) {
        if (!head.link.isEmpty())
            item.link = head.link;
    }
    *items += named;
    return Failure();
}

} // namespace

Failure parseNamedItems(const QString &text, const QVector<Item> &tags,
                        const ItemDefaults &defaults, QVector<Item> *items)
{
    const int equals = text.indexOf(QLatin1Char('='));
    const ItemHead head = takeApart(text.left(equals), defaults);
    const QString plain = head.link.isEmpty() ? text : text.mid(head.link.size() + 1);
    const auto give = [&text, equals](Item *item) {
        return equals < 0 ? Failure() : setValues(text.mid(equals + 1), item);
    };
    const auto parse = [&](Item *item) { return parseItem(plain, defaults, item); };
    return readNamed(head, tags, defaults.textForm, give, parse, items);
}

Failure parseNamedItems(const QString &text, const QStringList &values, const QVector<Item> &tags,
                        const ItemDefaults &defaults, QVector<Item> *items)
{
    const ItemHead head = takeApart(text, defaults);
    const auto give = [&values](Item *item) { return setValues(values, item); };
    const auto parse = [&](Item *item) { return parseItem(head.name, values, defaults, item); };
    return readNamed(head, tags, defaults.textForm, give, parse, items);
}

QString linkOf(const QString &text, const ItemDefaults &defaults)
{
    return takeApart(text.section(QLatin1Char('='), 0, 0), defaults).link;
}
