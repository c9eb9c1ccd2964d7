/// @file
/// Lookups in the runtime's project database: the link of a panel port and its default PLC station.
///
/// The runtime registers the database with Qt's SQL module and chooses its engine; a lookup takes
/// the connection by its name, opens it when it is not open yet, and must be called from the thread
/// that made the connection. Every failure (no such connection, table or row, a failed statement)
/// gives false; nothing is logged. An IP text is bound as a parameter of the statement, so that it
/// stays a value whatever it holds; a null text counts as an empty one.
#ifndef TOOLS_LINK_DATABASE_H
#define TOOLS_LINK_DATABASE_H

#include <QtCore/QList>
#include <QtCore/QString>

/// A link and the station number of one of its PLCs.
struct LinkIdStationId {
    int linkId;              ///< LINKID of the link
    unsigned char stationId; ///< the low 8 bits of the stored number
};

/// The link of an HMI port and the default station of that link; the first row counts.
/// @return whether there is one; @p linkId and @p stationId stay untouched otherwise
bool GetLinkIdAndDefaultStationId(const QString &connectionName, int hmiPort, int &linkId,
                                  unsigned char &stationId);

/// Appends the default stations of a link to @p result. @return whether @p result holds anything
/// then
bool GetLinkIdAndDefaultStationId(const QString &connectionName, int linkId,
                                  QList<LinkIdStationId> &result);

/// Appends the link of an HMI port and its default stations with an IP address and port to @p
/// result.
/// @return whether @p result holds anything then
bool GetLinkIdAndDefaultStationId(const QString &connectionName, int hmiPort, const QString &ip,
                                  unsigned short port, QList<LinkIdStationId> &result);

#endif
