#include "apps/kvlink/item_links.h"

#include "apps/kvlink/command_line.h"
#include "apps/kvlink/link_names.h"
#include "runtime/serial_port.h"
#include "runtime/trace_log.h"

#include <QtCore/QMap>

#include <algorithm>

namespace
{

// @param name empty for the link of the command line
Failure findLink(const CommandLine &line, const QString &name, const Item &item, LinkOptions *link)
{
    NamedLink named;
    if (name != QString::fromStdString(line.linkName)) {
        Failure failure = findNamedLink(line, name, &named);
        *link = named.options;
        return failure;
    }
    *link = line.link;
    if (link->isReachable())
        return Failure();
    return Failure(StatusUsage,
                   QString::fromLatin1("%1 has no link: give --port, --tcp, --sim or --link, or "
                                       "write NAME:%1 with a link's name")
                       .arg(item.text));
}

// A connection that is given must be used, and a simulated PLC alone: who gives one does not expect
// that another PLC is read or written.
Failure checkGivenLink(const CommandLine &line, const QVector<Item> &items)
{
    const QString own = QString::fromStdString(line.linkName);
    const auto isElsewhere = [own](const Item &item) {
        return !item.link.isEmpty() && item.link != own;
    };
    const auto linked = std::find_if(items.begin(), items.end(), isElsewhere);
    const bool isUsed = !std::all_of(items.begin(), items.end(), isElsewhere);
    if (linked == items.end() || (isUsed && !line.given.simulated))
        return Failure();
    for (const char *option : {"sim", "port", "tcp", "link"}) {
        if (isTyped(line, option))
            return Failure(StatusUsage,
                           QString::fromLatin1("%1 is on the link %2, and %4 --%3: leave --%3 out, "
                                               "or give items without a link")
                               .arg(linked->text, linked->link, QLatin1String(option),
                                    QLatin1String(line.given.simulated ? "no link is reached with"
                                                                       : "no item uses")));
    }
    return Failure();
}

// What only one link at a time can open; empty for a TCP address, which may be that of kvbridge.
QString portOf(const LinkOptions &link)
{
    return link.port.isEmpty() ? QString()
                               : serialDevicePath(link.port.section(QLatin1Char(','), 0, 0));
}

// A part of a file's name, another one for each link.
QString fileNamePart(QString name)
{
    return name.replace('%', "%25").replace('/', "%2F");
}

// Names what is said and traced of each link.
Failure tellApart(QVector<LinkItems> *links, const QVector<QString> &names)
{
    QMap<QString, QString> byPort;
    for (int i = 0; i < links->size(); ++i) {
        LinkOptions &link = (*links)[i].link;
        link.name = names.at(i).isEmpty() ? lineName(link) : names.at(i);
        const QString port = portOf(link);
        if (byPort.contains(port) && !port.isEmpty())
            return Failure(StatusUsage, QString::fromLatin1(
                                            "the links %1 and %2 share %3, which takes one link: "
                                            "kvbridge(1) shares a port among several")
                                            .arg(byPort.value(port), link.name, port));
        byPort.insert(port, link.name);
        if (!link.trace.isEmpty() && link.trace != QLatin1String(TRACE_TO_STDERR))
            link.trace += QLatin1Char('.') + fileNamePart(link.name);
        for (Item &item : (*links)[i].items)
            item.link = names.at(i);
    }
    return Failure();
}

} // namespace

Failure divideByLink(const CommandLine &line, const QVector<Item> &items, QVector<LinkItems> *links)
{
    QVector<QString> names;
    links->clear();
    if (Failure failure = checkGivenLink(line, items))
        return failure;
    for (int i = 0; i < items.size(); ++i) {
        const Item &item = items.at(i);
        const QString name =
            item.link.isEmpty() ? QString::fromStdString(line.linkName) : item.link;
        int place = names.indexOf(name);
        if (place < 0) {
            place = names.size();
            names += name;
            LinkItems added;
            if (Failure failure = findLink(line, name, item, &added.link))
                return failure;
            *links += added;
        }
        (*links)[place].items += item;
        (*links)[place].places += i;
    }
    return names.size() > 1 ? tellApart(links, names) : Failure();
}

Failure findOnlyLink(const CommandLine &line, const QVector<Item> &items, LinkOptions *link)
{
    QVector<LinkItems> links;
    Failure failure = divideByLink(line, items, &links);
    if (!failure && links.size() > 1)
        failure = Failure(StatusUsage,
                          QString::fromLatin1("%1 and %2 are on two links: this command takes one; "
                                              "monitor reads several")
                              .arg(nameWithLink(links.at(0).items.first()),
                                   nameWithLink(links.at(1).items.first())));
    if (!failure)
        *link = links.first().link;
    return failure;
}
