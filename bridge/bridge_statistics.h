/// What a bridge has done, for each client address and in all.
#ifndef BRIDGE_BRIDGE_STATISTICS_H
#define BRIDGE_BRIDGE_STATISTICS_H

#include <QtCore/QMap>
#include <QtCore/QString>

/// Counts of one client address, or of several together.
struct ClientCounts {
    int connected = 0;      ///< connections at present
    quint64 turns = 0;      ///< turns begun
    quint64 cutTurns = 0;   ///< turns that the bridge had to close, as the client did not
    quint64 exchanges = 0;  ///< lines sent to the PLC
    quint64 noReplies = 0;  ///< of these, lines that got nothing back
    quint64 badReplies = 0; ///< of these, lines whose reply was no line of the protocol, or another
    quint64 forbidden = 0;  ///< lines refused as the bridge is read-only
    quint64 drops = 0;      ///< connections that the bridge has ended
    quint64 sentBytes = 0;  ///< to the PLC
    quint64 replyBytes = 0; ///< from the PLC

    void add(const ClientCounts &other)
    {
        connected += other.connected;
        turns += other.turns;
        cutTurns += other.cutTurns;
        exchanges += other.exchanges;
        noReplies += other.noReplies;
        badReplies += other.badReplies;
        forbidden += other.forbidden;
        drops += other.drops;
        sentBytes += other.sentBytes;
        replyBytes += other.replyBytes;
    }
};

/// The counts of all clients.
struct BridgeStatistics {
    /// Client addresses that are counted one by one; all further ones are counted together. Each is
    /// a time series for those who read the metrics.
    enum { MAX_ADDRESSES = 256 };

    QMap<QString, ClientCounts> clients; ///< by address, without the port
    int silentStations = 0;              ///< stations that count as silent at present
    quint64 lostPorts = 0;               ///< times that the port to the PLC was lost

    /// The counts of an address.
    ClientCounts &of(const QString &address)
    {
        const bool isKnown = clients.contains(address) || clients.size() < MAX_ADDRESSES;
        return clients[isKnown ? address : QString::fromLatin1("others")];
    }

    ClientCounts total() const
    {
        ClientCounts sum;
        for (const ClientCounts &counts : clients)
            sum.add(counts);
        return sum;
    }
};

#endif
