/// Which items are on which link.
#ifndef APPS_KVLINK_ITEM_LINKS_H
#define APPS_KVLINK_ITEM_LINKS_H

#include "items/item.h"
#include "runtime/failure.h"
#include "runtime/link.h"

#include <QtCore/QVector>

struct CommandLine;

/// A link and the items on it.
struct LinkItems {
    LinkOptions link;
    QVector<Item> items; ///< in the order given
    QVector<int> places; ///< of each one among the items of all links
};

/// Divides items by their links, in the order in which these come first. Items that name no link are
/// on that of the command line. Where there are several links, each has a name, and a file of its
/// own for the trace.
/// @return StatusUsage for an unknown link, for an item without any link, for two links that share a
///         serial port, for a link beside --sim, or for a connection of the command line that no
///         item is on; StatusOpen for a file of links that cannot be read
Failure divideByLink(const CommandLine &line, const QVector<Item> &items,
                     QVector<LinkItems> *links);

/// Gives the link of the items to a command that talks to one PLC.
/// @param link is set on success
/// @return a failure as above, and StatusUsage for items of several links
Failure findOnlyLink(const CommandLine &line, const QVector<Item> &items, LinkOptions *link);

#endif
