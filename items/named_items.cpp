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

QVector<Item> tagsNamed(const QString &name, const QVector<Item> &tags, const TextForm &form)
{
    const QString pattern = QRegularExpression::escape(name)
                                .replace(QLatin1String("\\*"), QLatin1String(".*"))
                                .replace(QLatin1String("\\?"), QLatin1String("."));
    const QRegularExpression wildcard(QRegularExpression::anchoredPattern(pattern));
    QVector<Item> named;
    for (const Item &tag : tags) {
        if (isWildcard(name) ? wildcard.match(tag.text).hasMatch() : tag.text == name) {
            named += tag;
            named.last().textForm = form;
        }
    }
    return named;
}

// Why a text is no item, where there are names.
Failure notNamed(const QString &name, const QVector<Item> &tags, const Failure &failure)
{
    static const QRegularExpression ending(QLatin1String("[:\\[].*"));
    const QString start = QString(name).remove(ending);
    if (start != name && !tagsNamed(start, tags, TextForm()).isEmpty())
        return Failure(failure.status(),
                       QString::fromLatin1("\"%1\": %2 takes no :TYPE and no [COUNT], which are "
                                           "in the tag file")
                           .arg(printableText(name), printableText(start)));
    DeviceAddress address;
    const bool isAddress = name.contains(QLatin1Char(':')) || name.contains(QLatin1Char('[')) ||
                           parseDeviceAddress(name, &address);
    if (tags.isEmpty() || (isAddress && !isWildcard(name)))
        return failure;
    return Failure(failure.status(),
                   QString::fromLatin1("\"%1\" is neither a name in the tag file nor an address "
                                       "such as DM100")
                       .arg(printableText(name)));
}

// @param give  gives the values to a tag
// @param parse makes an item of what is no name
Failure readNamed(const QString &head, const QVector<Item> &tags, const TextForm &form,
                  const std::function<Failure(Item *)> &give,
                  const std::function<Failure(Item *)> &parse, QVector<Item> *items)
{
    QVector<Item> named = tagsNamed(head, tags, form);
    for (Item &item : named) {
        if (Failure failure = give(&item))
            return failure;
    }
    if (named.isEmpty()) {
        named.resize(1);
        if (Failure failure = parse(&named.first()))
            return notNamed(head, tags, failure);
    }
    *items += named;
    return Failure();
}

} // namespace

Failure parseNamedItems(const QString &text, const QVector<Item> &tags,
                        const ItemDefaults &defaults, QVector<Item> *items)
{
    const int equals = text.indexOf(QLatin1Char('='));
    const auto give = [&text, equals](Item *item) {
        return equals < 0 ? Failure() : setValues(text.mid(equals + 1), item);
    };
    const auto parse = [&text, &defaults](Item *item) { return parseItem(text, defaults, item); };
    return readNamed(text.left(equals), tags, defaults.textForm, give, parse, items);
}

Failure parseNamedItems(const QString &head, const QStringList &values, const QVector<Item> &tags,
                        const ItemDefaults &defaults, QVector<Item> *items)
{
    const auto give = [&values](Item *item) { return setValues(values, item); };
    const auto parse = [&](Item *item) { return parseItem(head, values, defaults, item); };
    return readNamed(head, tags, defaults.textForm, give, parse, items);
}
